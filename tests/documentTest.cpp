// The document model in memory: values, objects, builders, paths, comparison, rendering and the visitor.

#include "document/document.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "debug/xdbg.h"

namespace orvix {
namespace {

constexpr int kKeys = 1;  // its address says "with keys"

BSONObject parse(const std::string& json) {
  BSONBuilder builder;
  EXPECT_EQ(builder.fromJSON(json.c_str()).toString(), "OK") << json;
  return builder.getObject(false);
}

std::string reports;  // one line each

int collect(int /*level*/, int /*route*/, const char* text, unsigned /*bufferSize*/) {
  reports += std::string(text) + "\n";
  return 0;
}

void listen() {
  XDbgSetRoute(kXDbgInformation, kXDbgToStream);
  XDbgSetReportHook(collect);
  reports.clear();
}

// One element of every type.
constexpr char kEveryType[] = R"J({"double":1.5,"string":"12 abc","document":{"x":1},"array":[1,2],
  "binary":{"$binary":"AQIDBAUGBwg=","$type":"81"},"undefined":{"$undefined":true},
  "oid":{"$oid":"507f1f77bcf86cd799439011"},"bool":true,"date":{"$date":10500},"null":null,
  "regex":{"$regex":"a","$options":"i"},"code":{"$code":"f()"},"symbol":{"$symbol":"abc"},
  "dbpointer":{"$dbPointer":{"$ref":"ab","$id":{"$oid":"507f1f77bcf86cd799439011"}}},
  "scope":{"$code":"f()","$scope":{"q":1}},"int32":-7,"timestamp":{"$timestamp":{"t":1,"i":2}},
  "int64":{"$numberLong":"5000000007"},"decimal":{"$numberDecimal":"1.5"},
  "minKey":{"$minKey":1},"maxKey":{"$maxKey":1}})J";

struct TypeRow {
  const char* key;
  int type;
  uint32_t size;
  int firstByte;  // of data(), -1 for null
  bool toBool;
  double toDouble;
  const char* rendered;
  int rank;
  int withItself;  // compareValues
};

// clang-format off
const TypeRow kTypes[] = {
    {"double", 1, 8, 0x00, true, 1.5, "1.500000", 10, 0},     {"string", 2, 6, '1', true, 12.0, "\"12 abc\"", 15, 0},
    {"document", 3, 12, 12, true, 0.0, "<Object>", 20, 0},    {"array", 4, 19, 19, true, 0.0, "<Array>", 25, 0},
    {"binary", 5, 8, 1, true, 0.0, "Ops", 30, -1},            {"undefined", 6, 0, -1, false, 0.0, "Ops", 0, 0},
    {"oid", 7, 0, -1, true, 0.0, "Ops", 35, -1},              {"bool", 8, 1, 1, true, 1.0, "true", 40, 0},
    {"date", 9, 8, 0x04, true, 0.0, "Ops", 45, 0},            {"null", 10, 0, -1, false, 0.0, "Ops", 5, 0},
    {"regex", 11, 0, -1, true, 0.0, "Ops", 50, -1},           {"dbpointer", 12, 0, -1, true, 0.0, "Ops", 55, -1},
    {"code", 13, 0, -1, true, 0.0, "Ops", 60, -1},            {"symbol", 14, 0, -1, true, 0.0, "Ops", 15, -1},
    {"scope", 15, 0, -1, true, 0.0, "Ops", 65, -1},           {"int32", 16, 4, 0xf9, true, -7.0, "-7", 10, 0},
    {"timestamp", 17, 0, -1, true, 0.0, "Ops", 45, -1},       {"decimal", 19, 0, -1, true, 0.0, "Ops", 19, 0},
    {"int64", 18, 8, 0x07, true, 5000000007.0, "5000000007", 10, 0},
    {"minKey", 255, 0, -1, true, 0.0, "Ops", -1, -1},         {"maxKey", 127, 0, -1, true, 0.0, "Ops", -1, -1},
};
// clang-format on

TEST(Document, EveryTypeReadsAsItsRowSays) {
  const BSONObject all = parse(kEveryType);
  ASSERT_EQ(all.count(), std::size(kTypes));
  for (const TypeRow& row : kTypes) {
    SCOPED_TRACE(row.key);
    const BSONValue value = all.get(row.key);
    ASSERT_EQ(value.type(), row.type);
    EXPECT_TRUE(value.isBorrowed() && !value.isEmpty());
    EXPECT_EQ(value.isNumber(), row.rank == 10);
    EXPECT_EQ(value.size(), row.size);
    EXPECT_EQ(value.data() != nullptr ? *value.data() : -1, row.firstByte);
    EXPECT_EQ(value.toBool(), row.toBool);
    EXPECT_EQ(value.toDouble(), row.toDouble);
    // A getter answers for its own type alone.
    EXPECT_EQ(value.getBool(), row.type == 8);
    EXPECT_EQ(value.getDouble(), row.type == 1 ? 1.5 : 0.0);
    EXPECT_EQ(value.getInt32(), row.type == 16 ? -7 : 0);
    EXPECT_EQ(value.getInt64(), row.type == 18 ? 5000000007 : 0);
    EXPECT_EQ(value.getTime(), row.type == 9 ? 10 : 0);
    EXPECT_EQ(value.getStdString(), row.type == 2 ? "12 abc" : "");
    uint8_t subtype = 1;
    uint32_t length = 1;
    EXPECT_EQ(value.getBinary(&subtype, &length), row.type == 5 ? value.data() : nullptr);
    EXPECT_EQ(subtype, row.type == 5 ? 0x81 : 0);
    EXPECT_EQ(length, row.type == 5 ? 8U : 0U);
    EXPECT_EQ(value.getPointer(), 0U);  // the binary one has 8 bytes
    for (const bool copy : {false, true}) {
      EXPECT_EQ(value.getObject(copy).toJSON(), row.type == 3 ? R"({ "x" : 1 })" : "{ }");
      EXPECT_EQ(value.getArray(copy).toStream(nullptr, true), row.type == 4 ? "[ 1, 2 ]" : "[  ]");
      EXPECT_TRUE(value.getObject(copy).isBorrowed() != copy && value.getArray(copy).isBorrowed() != copy);
    }

    EXPECT_EQ(renderValue(value, nullptr, false, false), row.rendered);
    EXPECT_EQ(renderValue(value, &kKeys, false, true), row.rendered);
    EXPECT_EQ(renderValue(value, &kKeys, false, false), "\"" + std::string(row.key) + "\": " + row.rendered);

    EXPECT_EQ(canonicalRank(row.type), row.rank);
    listen();
    EXPECT_EQ(compareValues(value, value), row.withItself);
    char line[64];
    std::snprintf(line, sizeof line, "compareValues: bad type 0x%x\n", static_cast<unsigned>(row.type));
    EXPECT_EQ(reports, row.withItself == 0 ? "" : line);
  }
  EXPECT_TRUE(canonicalRank(0) == 0 && canonicalRank(20) == 20 && canonicalRank(21) == -1);
}

TEST(Document, ValueWithoutElementGivesDefaults) {
  const BSONObject object = parse(R"({"":1})");
  // The last one stands before the first element.
  for (BSONValue value : {BSONValue(true), BSONValue(static_cast<const bson_t*>(nullptr), true), object.get("missing"),
                          BSONValue(object.end()), BSONValue(object.readable(), true)}) {
    EXPECT_EQ(renderValue(value, &kKeys, true, false), value.isEmpty() ? "" : "EOO");
    EXPECT_EQ(value.type(), 0);
    EXPECT_EQ(value.size() + value.getPointer() + value.toDouble(), 0.0);
    EXPECT_EQ(value.data(), value.getBinary(nullptr, nullptr));
    EXPECT_STREQ(value.getString(), "");
    EXPECT_TRUE(!value.toBool() && value.getObject(false).isEmpty() && value.getArray(true).isEmpty());
    EXPECT_EQ(compareValues(value, BSONValue(true)), 0);
    value.setTime(1);
    EXPECT_FALSE(BSONBuilder().appendValue("k", value));
  }
  EXPECT_TRUE(object.get("missing").isEmpty() && !BSONValue(object.readable(), true).isEmpty());
  EXPECT_FALSE(BSONValue(false).isBorrowed());
}

TEST(Document, SizesAndWords) {
  BSONBuilder builder;
  const BSONObject sized =
      parse(R"({"300":{"k":")" + std::string(287, 'x') + R"("},"256":{"k":")" + std::string(243, 'x') + R"("}})");
  EXPECT_TRUE(sized.get("300").size() == 44 && sized.get("256").size() == 0);
  EXPECT_EQ(sized.get("300").getObject(false).dataSize(), 300U);
  const uint8_t bytes[] = {1, 0, 0, 0x80};
  EXPECT_TRUE(builder.appendPointer("pointer", 0xdeadbeef) && builder.appendBinary("same", 0x81, bytes, 4));
  EXPECT_TRUE(builder.appendBinary("short", 0x81, bytes, 3) && builder.appendBinary("plain", 0, bytes, 4));
  EXPECT_TRUE(builder.appendBinary("none", 0x80, nullptr, 0) && !builder.appendBinary("bad", 0x80, nullptr, 1));
  EXPECT_TRUE(builder.appendString("nul", std::string("a\0b", 3)));
  EXPECT_TRUE(builder.appendString("null", static_cast<const char*>(nullptr)));
  const BSONObject object = builder.getObject(false);
  EXPECT_TRUE(object.getPointer("pointer") == 0xdeadbeef && object.getPointer("same") == 0x80000001);
  EXPECT_EQ(object.getPointer("short") + object.getPointer("plain"), 0U);
  EXPECT_TRUE(object.get("nul").size() == 3 && object.get("nul").getStdString() == "a");
  EXPECT_TRUE(object.get("none").type() == 5 && object.get("null").type() == 10);

  for (const char* const zero : {"0.0", "0", R"({"$numberLong":"0"})", "false", R"("")", R"("abc")", "[]"}) {
    const BSONObject one = parse(R"({"a":)" + std::string(zero) + "}");
    EXPECT_EQ(one.get("a").toBool(), zero[0] == '"' || zero[0] == '[') << zero;
    EXPECT_EQ(one.get("a").toDouble(), 0.0) << zero;
  }
}

TEST(Document, TimesAreSecondsIn32BitsAndWrittenToInt64Alone) {
  const BSONObject times = parse(R"({"long":{"$numberLong":"1"},"date":{"$date":{"$numberLong":"-1999"}},
      "far":{"$date":{"$numberLong":"4294967297999"}},"double":1.0})");
  EXPECT_EQ(times.get("far").getTime(), 1);  // 2^32 + 1 seconds
  for (const char* const key : {"long", "date", "double"}) {
    times.get(key).setTime(3000000);
  }
  EXPECT_EQ(times.get("long").getInt64(), 3000000000);
  EXPECT_TRUE(times.get("date").getTime() == -1 && times.get("double").getDouble() == 1.0);
}

TEST(Document, PairsWalkADocument) {
  const BSONObject object = parse(R"({"a":1,"b":2})");
  BSONPair pair = object.begin();
  EXPECT_TRUE(pair == object.begin() && pair.isBorrowed() && !object.end().isBorrowed());
  const BSONPair first = pair++;
  EXPECT_EQ(first.key() + pair.key(), "ab");
  EXPECT_TRUE(first != pair && pair != object.end());
  EXPECT_TRUE(first != object.copy().begin());  // same place, another document
  EXPECT_EQ(++pair, object.end());
  EXPECT_EQ(pair.key(), "");
  EXPECT_EQ(++pair, BSONPair(false));
}

TEST(Document, HandlesShareCopiesDoNot) {
  BSONBuilder builder;
  EXPECT_TRUE(builder.isEmpty());
  BSONObject shared = builder.getObject(false);
  const BSONObject copied = builder.getObject(true);
  EXPECT_TRUE(builder.appendInt32("a", 1) && !builder.isEmpty());
  EXPECT_EQ(shared.count() + shared.dataSize() + copied.dataSize(), 1U + 12U);
  EXPECT_TRUE(shared.isBorrowed() && copied.isBorrowed() && builder.getArray(true).isBorrowed());
  EXPECT_FALSE(BSONObject(nullptr, false).copy().isBorrowed());

  builder.reset();
  BSONObject other = shared;
  EXPECT_TRUE(shared.concat(parse(R"({"b":2})")) && shared.concat(shared));
  shared.clear();
  EXPECT_EQ(other.toJSON(), R"({ "a" : 1, "b" : 2, "a" : 1, "b" : 2 })");
  EXPECT_TRUE(shared.isEmpty() && builder.isEmpty());

  EXPECT_TRUE(other.type() == 3 && BSONArray().type() == 4);
  const BSONObject one = parse(R"({"a":1})");
  const BSONObject two = parse(R"({"a":2})");
  EXPECT_TRUE(one == one.copy() && one != two && one < two && !(two < one) && one < parse(R"({"a":1,"a":1})"));
}

TEST(Document, NullDocumentAnswersAsAnEmptyOne) {
  for (BSONObject object : {BSONObject(), BSONObject(BSONArray()), parse("{}")}) {
    EXPECT_TRUE(object.isEmpty() && object.isBorrowed() && object.begin() == object.end());
    EXPECT_EQ(object.count() + object.dataSize(), 0U);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(object.data()), 5), std::string("\5\0\0\0\0", 5));
    EXPECT_EQ(object.validate().toString() + object.toJSON() + object.toStream(&kKeys, true), "OK{ }{  }");
    EXPECT_TRUE(object == BSONObject() && !(object < parse("{}")));
    EXPECT_TRUE(object.copy().isEmpty() && object.without("a").isEmpty());
    EXPECT_TRUE(object.replace(parse(R"({"a":1})").begin()).isEmpty());
    EXPECT_TRUE(!object.has("a") && object.get("a").isEmpty());
    EXPECT_EQ(object.getInt32("a", 7) + object.getNumber("a", 7) + object.getPointer("a"), 14.0);
    EXPECT_EQ(object.getString("a", nullptr), nullptr);
    EXPECT_TRUE(object.getObject("a", true).isEmpty() && object.getArray("a", false).isEmpty());
    EXPECT_TRUE(BSONBuilder().fromObject(object));
    object.clear();
    EXPECT_TRUE(object.concat(parse(R"({"a":1})")) && object.count() == 1);
  }
}

TEST(Document, ValidationNamesTheOffset) {
  const std::string prefix = "Failed: BSONObject: BSON is invalid at offset 0x";
  EXPECT_EQ(parse(R"({"ok":1,"a":"\u0000"})").validate().toString(), "OK");
  EXPECT_EQ(parse(R"({"ok":1,"a.b":2})").validate().toString(), prefix + "c.\n");
  EXPECT_EQ(parse(R"({"$ok":1})").validate().toString(), prefix + "4.\n");
}

TEST(Document, BuilderTakesWholeDocuments) {
  BSONBuilder builder;
  EXPECT_EQ(builder.getName(), "bsonBuilder");
  builder.setName("mine");
  const std::vector<uint8_t> kRefused[] = {{}, {4, 0, 0, 0}, {6, 0, 0, 0, 0}, {5, 0, 0, 0, 1}, {5, 0, 0, 0, 0, 0}};
  for (const std::vector<uint8_t>& bytes : kRefused) {
    ASSERT_TRUE(builder.appendInt32("old", 1));
    const Status status = builder.fromData(bytes.data(), static_cast<uint32_t>(bytes.size()));
    EXPECT_EQ(status.toString(), "Failed: mine: fromData") << testing::PrintToString(bytes);
    EXPECT_TRUE(builder.isEmpty() && builder.getObject(true).isEmpty());
  }
  EXPECT_TRUE(builder.fromObject(parse(R"({"a":1})")) && builder.fromObject(builder.getObject(false)));
  EXPECT_TRUE(builder.fromObject(BSONObject()));
  EXPECT_EQ(builder.getObject(false).toJSON(), R"({ "a" : 1 })");
  EXPECT_EQ(builder.fromJSON(nullptr).toString(), "Invalid argument: mine: fromJSON");
  EXPECT_EQ(builder.getObject(false).count(), 1U);
  EXPECT_EQ(builder.fromJSON(R"({"b":)").toString(), "Failed: Incomplete JSON");
  EXPECT_TRUE(builder.isEmpty() && builder.fromJSON(R"({"b":[true]})"));
  EXPECT_EQ(builder.getObject(false).toStream(&kKeys, true), R"({ "b": [ true ] })");
}

TEST(Document, BuildersShareWithCopiesAndHandles) {
  BSONBuilder builder;
  builder.appendInt32("old", 1);
  builder.reset();
  const BSONObject handle = builder.getObject(false);
  BSONBuilder copy = builder;
  BSONBuilder assigned;
  assigned = copy;
  assigned.appendInt32("a", 1);
  EXPECT_EQ(handle.toJSON() + copy.getObject(true).toJSON(), R"({ "a" : 1 }{ "a" : 1 })");
  EXPECT_FALSE(builder.fromJSON("{"));
  const BSONObject none = builder.getObject(false);
  builder.appendInt32("b", 1);
  EXPECT_TRUE(none.isEmpty() && handle.count() == 1) << "a builder that failed begins anew";
}

TEST(Document, BuilderNests) {
  BSONBuilder root;
  BSONBuilder list;
  BSONBuilder leaf;
  const std::string nulKey("a\0b", 3);
  EXPECT_FALSE(root.appendDocumentBegin("x", nullptr) || root.appendArrayBegin("x", nullptr));
  EXPECT_FALSE(root.appendDocumentEnd(nullptr) || root.appendArrayEnd(nullptr));
  EXPECT_FALSE(root.appendDocumentBegin(nulKey, &leaf) || root.appendArrayBegin(nulKey, &leaf));
  ASSERT_TRUE(root.appendArrayBegin("list", &list));
  ASSERT_TRUE(list.appendDocumentBegin("0", &leaf));
  EXPECT_TRUE(leaf.appendBool("b", true) && leaf.appendDouble("d", 0.5) && leaf.appendInt64("l", -1));
  ASSERT_TRUE(list.appendDocumentEnd(&leaf));
  EXPECT_TRUE(list.appendString("1", std::string("s")));
  ASSERT_TRUE(root.appendArrayEnd(&list));
  const BSONObject object = root.getObject(true);
  EXPECT_TRUE(root.appendValue("again", object.get("list")));
  EXPECT_TRUE(root.appendArray("third", object.getArray("list", false)));
  EXPECT_TRUE(root.appendArray("none", BSONArray()));
  const std::string text = R"([ { "b": true, "d": 0.500000, "l": -1 }, "s" ])";
  EXPECT_EQ(root.getObject(false).toStream(&kKeys, true),
            R"({ "list": )" + text + R"(, "again": )" + text + R"(, "third": )" + text + R"(, "none": [  ] })");
}

TEST(Document, RendersForPeople) {
  // clang-format off
  const std::tuple<const char*, const void*, bool, const char*, const char*> rows[] = {
      {"{}", &kKeys, true, "{  }", "[  ]"},
      {R"({"a":1,"b":"x"})", &kKeys, false, R"({ "a": 1, "b": "x" })", R"([ 1, "x" ])"},
      {R"({"a":1,"b":"x"})", nullptr, false, R"({ 1, "x" })", R"([ 1, "x" ])"},
      {R"({"n":{"a":[{"b":false}]}})", &kKeys, false, R"({ "n": <Object> })", "[ <Object> ]"},
      {R"({"n":{"a":[1]}})", &kKeys, true, R"({ "n": { "a": [ 1 ] } })", R"([ { "a": [ 1 ] } ])"},
      {"[[[[[[[1],2],3],4],5],6],7]", nullptr, true, "{ [ [ [ [ [ [ 1 ], 2 ], 3 ], 4 ], 5 ], 6 ], 7 }",
       "[ [ [ [ [ [ [ 1 ], 2 ], 3 ], 4 ], 5 ], 6 ], 7 ]"},
      {R"({"q\"":"a\"\\\n"})", &kKeys, true, "{ \"q\"\": \"a\"\\\n\" }", "[ \"a\"\\\n\" ]"},
      {R"({"l":{"$numberLong":"-9223372036854775808"}})", nullptr, true, "{ -9223372036854775808 }",
       "[ -9223372036854775808 ]"}};
  // clang-format on
  for (const auto& [json, withKeys, recursive, asObject, asArray] : rows) {
    BSONBuilder builder;
    ASSERT_TRUE(builder.fromJSON(json)) << json;
    EXPECT_EQ(builder.getObject(false).toStream(withKeys, recursive), asObject);
    EXPECT_EQ(builder.getArray(false).toStream(withKeys, recursive), asArray);
  }
  const std::string huge = parse(R"({"a":-1e300})").toStream(nullptr, true);
  EXPECT_EQ(huge.size(), 2U + 1U + 301U + 7U + 2U);
  EXPECT_EQ(huge.substr(huge.size() - 9), ".000000 }");
}

TEST(Document, VisitorsTellOfNestedElements) {
  const BSONObject object = parse(R"({"a":1,"b":{"x":1},"c":[1],"d":2})");
  bson_visitor_t table{};
  table.visit_before = visitPreOrder;
  table.visit_after = visitPostOrder;
  listen();
  visit(object.readable(), &table, nullptr);
  EXPECT_EQ(reports, "visitPreOrder: 'b'\nvisitPostOrder: 'b'\nvisitPreOrder: 'c'\nvisitPostOrder: 'c'\n");
}

}  // namespace
}  // namespace orvix
