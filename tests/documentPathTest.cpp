// Dotted paths, whole-document rewrites and the order of elements.

#include <gtest/gtest.h>

#include <climits>
#include <tuple>
#include <utility>

#include "document/document.h"

namespace orvix {
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
  // clang-format off
  const std::pair<const char*, int> rows[] = {
      {"config", 3}, {"config2", 3}, {"config.ip.port", 16}, {"config.ip.long", 18}, {"list", 4}, {"list.0", 16},
      {"list.1.x", 2}, {"word", 5},
      // These find nothing.
      {"", 0}, {".", 0}, {".config", 0}, {"config.", 0}, {"config..mode", 0}, {"Config", 0}, {"conf", 0},
      {"config.ip.por", 0}, {"config.mode.x", 0}, {"list.x", 0}, {"list.2", 0}, {"list.00", 0}, {"double.0", 0}};
  // clang-format on
  for (const auto& [path, type] : rows) {
    EXPECT_EQ(object.get(path).type(), type) << path;
    EXPECT_EQ(object.has(path), type != 0) << path;
    EXPECT_EQ(object.getObject(path, false).isEmpty(), type != 3 || std::string(path) == "config2") << path;
    EXPECT_EQ(object.getArray(path, true).isEmpty(), type != 4) << path;
  }
  EXPECT_TRUE(object.getObject("config", false).isBorrowed() && !object.getObject("config", true).isBorrowed());
  EXPECT_TRUE(object.getArray("none", true).isBorrowed());
}

TEST(DocumentPath, GettersConvertNothingButNumbers) {
  const BSONObject object = parse(kConfig);
  EXPECT_TRUE(object.getBool("flag", false));
  EXPECT_EQ(object.getDouble("double", 0.0), 2.5);
  EXPECT_EQ(object.getInt32("config.ip.port", 0) + object.getInt64("config.ip.long", 0), 502 + 502);
  EXPECT_EQ(object.getString("config.mode", nullptr) + object.getString("config.mode", std::string("x")), "comcom");
  EXPECT_EQ(object.getPointer("word"), 1U);
  uint32_t length = 0;
  EXPECT_EQ(object.getBinary("word", nullptr, &length), object.get("word").data());
  EXPECT_EQ(length, 4U);
  for (const char* const path : {"config", "list", "none", "config.mode.x"}) {
    EXPECT_EQ(object.getNumber(path, 7.0), 7.0) << path;
    EXPECT_EQ(object.getString(path, "def") + object.getString(path, std::string("def")), "defdef") << path;
    EXPECT_EQ(object.getBinary(path, nullptr, &length), nullptr) << path;
    EXPECT_EQ(length + object.getPointer(path), 0U) << path;
  }
  EXPECT_EQ(object.getInt32("config.ip.long", 1) + object.getInt32("config.ip.text", 1), 2);
  EXPECT_EQ(object.getInt64("config.ip.port", 1) + object.getInt64("double", 1), 2);
  EXPECT_TRUE(object.getDouble("config.ip.port", 1.0) == 1.0 && object.getBool("config.ip.port", true));
  EXPECT_EQ(object.getString("config.ip.port", nullptr), nullptr);
  const std::pair<const char*, double> numbers[] = {{"config.ip.port", 502}, {"config.ip.long", 502}, {"double", 2.5},
                                                    {"config.ip.text", 502}, {"config.mode", 0},      {"flag", 7}};
  for (const auto& [path, number] : numbers) {
    EXPECT_EQ(object.getNumber(path, 7.0), number) << path;
  }
}

TEST(DocumentPath, RewritesMakeNewDocuments) {
  BSONBuilder builder;
  EXPECT_TRUE(builder.appendInt32("a", 1) && builder.appendInt32("b", 2) && builder.appendInt32("a", 3));
  const BSONObject twice = builder.getObject(false);
  const BSONObject news = parse(R"({"a":"x","c":9,"":0})");
  EXPECT_EQ(twice.without("a").toJSON(), R"({ "b" : 2 })");
  EXPECT_EQ(twice.without(std::string("a\0c", 3)).count(), 1U) << "a key ends at its first NUL";
  EXPECT_EQ(twice.replace(news.begin()).toStream(&news, true), R"({ "a": "x", "b": 2, "a": "x" })");
  EXPECT_TRUE(twice.without("c") == twice && twice.replace(++news.begin()) == twice);
  EXPECT_TRUE(twice.replace(news.end()) == twice && twice.count() == 3);
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
  EXPECT_EQ(unnamed.replace(BSONPair(before)), unnamed);
}

TEST(DocumentPath, ComparesByRankKeyAndValue) {
  constexpr int kLess = INT_MIN;  // any negative number
  constexpr int kMore = INT_MAX;  // any positive one
  // clang-format off
  const std::tuple<const char*, const char*, int> rows[] = {
      {"5", "5.0", 0}, {"5", R"({"$numberLong":"6"})", -1}, {"5.5", "5", 1}, {"5", R"("5")", -5},
      {R"({"$numberDouble":"NaN"})", "1", 1}, {"1", R"({"$numberDouble":"NaN"})", 1},
      {R"({"$numberDecimal":"5"})", "5", 9}, {R"({"$minKey":1})", R"({"$undefined":true})", -1},
      {R"("ab")", R"("abcd")", -2}, {R"("b")", R"("ab")", kMore}, {R"("\u00e4")", R"("z")", kMore},
      {R"("x")", R"({"$symbol":"yz"})", 1}, {"false", "true", -1}, {"true", "false", 1},
      {R"({"x":1})", R"({"x":1})", 0}, {R"({"x":1})", R"({"x":2})", kLess}, {"[1]", "[]", kMore},
      {R"({"$date":1999})", R"({"$date":1000})", 0}, {R"({"$date":1999})", R"({"$date":2000})", -1},
      {R"({"$date":1000})", R"({"$timestamp":{"t":9,"i":1}})", 1}};
  // clang-format on
  for (const auto& [first, second, expected] : rows) {
    const BSONObject a = parse(R"({"a":)" + std::string(first) + "}");
    const BSONObject b = parse(R"({"a":)" + std::string(second) + "}");
    const int result = compare(a.begin(), b.begin(), true);
    EXPECT_TRUE(expected == kLess   ? result < 0
                : expected == kMore ? result > 0
                                    : result == expected)
        << first << " and " << second << " give " << result;
    EXPECT_EQ(a.get("a") == b.get("a"), result == 0);
  }
  const BSONObject keys = parse(R"({"a":9,"b":1,"abcd":1})");
  EXPECT_LT(compare(keys.get("a"), keys.get("b"), true), 0);
  EXPECT_EQ(compare(keys.get("a"), keys.get("b"), false), 1);
  EXPECT_EQ(compare(keys.get("abcd"), keys.get("a"), true), 3);
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
}  // namespace orvix
