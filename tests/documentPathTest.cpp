// Dotted paths, whole-document rewrites and the order of elements.

#include <gtest/gtest.h>

#include "app/common/document/document.h"

using orvix::BSONBuilder;
using orvix::BSONObject;
using orvix::BSONValue;

namespace {

BSONObject parse(const std::string& json) {
  BSONBuilder builder;
  EXPECT_EQ(builder.fromJSON(json.c_str()).toString(), "OK") << json;
  return builder.getObject(false);
}

constexpr char kConfig[] = R"J({"config":{"mode":"com","ip":{"port":502,"long":{"$numberLong":"502"},"text":"502 x"}},
  "list":[1,{"x":"two"}],"double":2.5,"flag":true,"word":{"$binary":"AQAAAA==","$type":"81"},"config2":{}})J";

TEST(DocumentPath, FindsWhatItNames) {
  const BSONObject object = parse(kConfig);
  const struct {
    const char* path;
    int type;  // 0: finds nothing
  } kRows[] = {
      {"config", 3},
      {"config2", 3},
      {"config.ip.port", 16},
      {"config.ip.long", 18},
      {"list", 4},
      {"list.0", 16},
      {"list.1.x", 2},
      {"word", 5},
      {"", 0},
      {".", 0},
      {".config", 0},
      {"config.", 0},
      {"config..mode", 0},
      {"Config", 0},
      {"conf", 0},
      {"config.ip.por", 0},
      {"config.mode.x", 0},
      {"list.x", 0},
      {"list.2", 0},
      {"list.00", 0},
      {"double.0", 0},
  };
  for (const auto& [path, type] : kRows) {
    EXPECT_EQ(object.get(path).type(), type) << path;
    EXPECT_EQ(object.has(path), type != 0) << path;
    EXPECT_EQ(object.getObject(path, false).isEmpty(), type != 3 || std::string(path) == "config2") << path;
    EXPECT_EQ(object.getArray(path, true).isEmpty(), type != 4) << path;
  }
  EXPECT_FALSE(object.getObject("config", true).isBorrowed());
  EXPECT_TRUE(object.getObject("config", false).isBorrowed() && object.getArray("none", true).isBorrowed());
}

TEST(DocumentPath, GettersConvertNothingButNumbers) {
  const BSONObject object = parse(kConfig);
  EXPECT_EQ(object.getInt32("config.ip.port", 0), 502);
  EXPECT_EQ(object.getInt64("config.ip.long", 0), 502);
  EXPECT_EQ(object.getDouble("double", 0.0), 2.5);
  EXPECT_TRUE(object.getBool("flag", false));
  EXPECT_STREQ(object.getString("config.mode", nullptr), "com");
  EXPECT_EQ(object.getString("config.mode", std::string("x")), "com");
  EXPECT_EQ(object.getPointer("word"), 1U);
  uint32_t length = 0;
  EXPECT_EQ(object.getBinary("word", nullptr, &length), object.get("word").data());
  EXPECT_EQ(length, 4U);

  for (const char* const path : {"config", "list", "none", "config.mode.x"}) {
    EXPECT_EQ(object.getNumber(path, 7.0), 7.0) << path;
    EXPECT_STREQ(object.getString(path, "def"), "def") << path;
    EXPECT_EQ(object.getString(path, std::string("def")), "def") << path;
    EXPECT_EQ(object.getBinary(path, nullptr, &length), nullptr) << path;
    EXPECT_EQ(length + object.getPointer(path), 0U) << path;
  }
  EXPECT_EQ(object.getInt32("config.ip.long", 1) + object.getInt32("config.ip.text", 1), 2);
  EXPECT_EQ(object.getInt64("config.ip.port", 1) + object.getInt64("double", 1), 2);
  EXPECT_EQ(object.getDouble("config.ip.port", 1.0), 1.0);
  EXPECT_TRUE(object.getBool("config.ip.port", true));
  EXPECT_EQ(object.getString("config.ip.port", nullptr), nullptr);
  for (const char* const path : {"config.ip.port", "config.ip.long", "config.ip.text"}) {
    EXPECT_EQ(object.getNumber(path, 7.0), 502.0) << path;
  }
  EXPECT_EQ(object.getNumber("double", 7.0), 2.5);
  EXPECT_EQ(object.getNumber("config.mode", 7.0), 0.0);
  EXPECT_EQ(object.getNumber("flag", 7.0), 7.0);
}

TEST(DocumentPath, RewritesMakeNewDocuments) {
  BSONBuilder builder;
  EXPECT_TRUE(builder.appendInt32("a", 1) && builder.appendInt32("b", 2) && builder.appendInt32("a", 3));
  const BSONObject twice = builder.getObject(false);
  EXPECT_EQ(twice.getInt32("a", 0), 1);
  const BSONObject news = parse(R"({"a":"x","c":9,"":0})");
  EXPECT_EQ(twice.without("a").toJSON(), R"({ "b" : 2 })");
  EXPECT_EQ(twice.without("c"), twice);
  EXPECT_EQ(twice.replace(news.begin()).toStream(&news, true), R"({ "a": "x", "b": 2, "a": "x" })");
  EXPECT_EQ(twice.replace(++news.begin()), twice);
  EXPECT_EQ(twice.replace(news.end()), twice);
  EXPECT_EQ(twice.count(), 3U);
}

// The framing is right, the document inside ends in no zero: nothing may abort, and what is whole is kept.
TEST(DocumentPath, RewritesSurviveBrokenDocuments) {
  const uint8_t bytes[] = {20, 0, 0, 0, 16, 'a', 0, 1, 0, 0, 0, 3, 'b', 0, 5, 0, 0, 0, 1, 0};
  BSONBuilder builder;
  ASSERT_TRUE(builder.fromData(bytes, sizeof bytes));
  const BSONObject broken = builder.getObject(false);
  EXPECT_EQ(broken.without("x").getInt32("a", 0), 1);
  EXPECT_EQ(broken.replace(parse(R"({"a":2})").begin()).getInt32("a", 0), 2);
  // A position before the first element has no key to replace.
  const BSONObject unnamed = parse(R"({"":1})");
  bson_iter_t before;
  ASSERT_TRUE(bson_iter_init(&before, unnamed.readable()));
  EXPECT_EQ(unnamed.replace(orvix::BSONPair(before)), unnamed);
}

TEST(DocumentPath, ComparesByRankKeyAndValue) {
  constexpr int kLess = -1000;  // any negative number
  constexpr int kMore = 1000;   // any positive one
  const struct {
    const char* a;
    const char* b;
    bool withKeys;
    int result;
  } kRows[] = {
      {R"({"a":5})", R"({"a":5.0})", true, 0},
      {R"({"a":5})", R"({"a":{"$numberLong":"6"}})", true, -1},
      {R"({"a":5.5})", R"({"a":5})", true, 1},
      {R"({"a":{"$numberDouble":"NaN"}})", R"({"a":1})", true, 1},
      {R"({"a":1})", R"({"a":{"$numberDouble":"NaN"}})", true, 1},
      {R"({"a":5})", R"({"a":"5"})", true, -5},
      {R"({"a":{"$numberDecimal":"5"}})", R"({"a":5})", true, 9},
      {R"({"a":{"$minKey":1}})", R"({"a":{"$undefined":true}})", true, -1},
      {R"({"a":null})", R"({"b":null})", false, 0},
      {R"({"a":9})", R"({"b":1})", true, kLess},
      {R"({"a":9})", R"({"b":1})", false, 1},
      {R"({"abcd":1})", R"({"a":1})", true, 3},
      {R"({"a":"ab"})", R"({"a":"abcd"})", true, -2},
      {R"({"a":"b"})", R"({"a":"ab"})", true, kMore},
      {R"({"a":"\u00e4"})", R"({"a":"z"})", true, kMore},
      {R"({"a":"x"})", R"({"a":{"$symbol":"yz"}})", true, 1},
      {R"({"a":{"x":1}})", R"({"a":{"x":1}})", true, 0},
      {R"({"a":{"x":1}})", R"({"a":{"x":2}})", true, kLess},
      {R"({"a":[1]})", R"({"a":[]})", true, kMore},
      {R"({"a":false})", R"({"a":true})", true, -1},
      {R"({"a":true})", R"({"a":false})", true, 1},
      {R"({"a":{"$date":1999}})", R"({"a":{"$date":1000}})", true, 0},
      {R"({"a":{"$date":1999}})", R"({"a":{"$date":2000}})", true, -1},
      {R"({"a":{"$date":1000}})", R"({"a":{"$timestamp":{"t":9,"i":1}}})", true, 1},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(std::string(row.a) + " and " + row.b);
    const BSONObject a = parse(row.a);
    const BSONObject b = parse(row.b);
    const int result = compare(a.begin(), b.begin(), row.withKeys);
    const bool isSignOnly = row.result == kLess || row.result == kMore;
    EXPECT_TRUE(isSignOnly ? result != 0 && (result < 0) == (row.result < 0) : result == row.result) << result;
    EXPECT_EQ(a.get(a.begin().key()) == b.get(b.begin().key()), compare(a.begin(), b.begin(), true) == 0);
  }
  // The values alone go by the type of the first.
  const BSONObject mixed = parse(R"({"n":5,"s":"5","t":true,"o":{},"d":{"$date":-1000},"null":null})");
  const BSONValue number = mixed.get("n");
  EXPECT_EQ(compareValues(number, mixed.get("s")), 0);
  EXPECT_GT(compareValues(mixed.get("s"), number), 0);
  EXPECT_EQ(compareValues(mixed.get("t"), number), 1);
  EXPECT_EQ(compareValues(mixed.get("o"), number), 0);
  EXPECT_EQ(compareValues(mixed.get("d"), number) + compareValues(mixed.get("null"), number), -2);
}

}  // namespace
