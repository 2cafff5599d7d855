// Documents nested deeper than a stack could follow.

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdio>
#include <string>
#include <utility>

#include "document/document.h"

namespace orvix {
namespace {

constexpr std::size_t kStackSize = 1U << 20U;  // what a host's thread may have, an eighth of the usual

std::string word(std::size_t number) {
  const std::uint32_t bytes = BSON_UINT32_TO_LE(static_cast<std::uint32_t>(number));
  return std::string(reinterpret_cast<const char*>(&bytes), sizeof bytes);
}

// `levels` documents one in the other, each but the first behind the key as that type; `inside` is the last of them.
BSONObject nested(int type, std::size_t levels, const std::string& key = "0",
                  const std::string& inside = word(5) + '\0') {
  const std::string scopeHead = type == BSON_TYPE_CODEWSCOPE ? word(1) + '\0' : "";  // empty code
  const std::size_t headSize = type == BSON_TYPE_CODEWSCOPE ? 4 + scopeHead.size() : 0;
  const std::size_t perLevel = 7 + key.size() + headSize;
  std::string bytes;
  for (std::size_t deeper = levels - 1; deeper > 0; --deeper) {
    const std::size_t nextSize = inside.size() + (deeper - 1) * perLevel;
    bytes += word(nextSize + perLevel) + static_cast<char>(type) + key + '\0';
    bytes += headSize != 0 ? word(headSize + nextSize) + scopeHead : "";
  }
  bytes += inside + std::string(levels - 1, '\0');
  BSONBuilder builder;
  EXPECT_TRUE(builder.fromData(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<uint32_t>(bytes.size())));
  return builder.getObject(false);
}

std::string path(std::size_t segments) {
  std::string text = "0";
  for (std::size_t i = 1; i < segments; ++i) {
    text += ".0";
  }
  return text;
}

void* readDeepDocuments(void* /*argument*/) {
  constexpr char kTooDeep[] = "Failed: BSONObject: BSON is invalid at offset 0x4.\n";
  for (const int type : {BSON_TYPE_DOCUMENT, BSON_TYPE_ARRAY, BSON_TYPE_CODEWSCOPE}) {
    for (const auto& [levels, status] :
         {std::pair(200U, "OK"), {201U, kTooDeep}, {202U, kTooDeep}, {100000U, kTooDeep}}) {
      SCOPED_TRACE(std::to_string(type) + " in " + std::to_string(levels) + " levels");
      const BSONObject object = nested(type, levels);
      EXPECT_EQ(object.validate().toString(), status);
      const bool isScope = type == BSON_TYPE_CODEWSCOPE;
      const std::string json = object.toJSON();
      EXPECT_EQ(json.empty(), isScope && levels > 200);
      EXPECT_EQ(json.find("{ ... }") != std::string::npos, !isScope && levels > 201);
      EXPECT_EQ(object.toStream(nullptr, true).size(), isScope ? 7 : levels * 4);  // "{ Ops }", or brackets and blanks
      EXPECT_EQ(object.has(path(levels - 1)), !isScope);
      EXPECT_FALSE(object.has(path(levels)));
    }
  }
  return nullptr;
}

TEST(DeepDocument, IsReadOrRefusedButNeverEndsTheProcess) {
  pthread_attr_t small;
  pthread_t thread;
  ASSERT_EQ(pthread_attr_init(&small), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&small, kStackSize), 0);
  ASSERT_EQ(pthread_create(&thread, &small, readDeepDocuments, nullptr), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&small);
}

TEST(DeepDocument, JsonIsRefusedOnlyWhereAScopeStandsTooDeep) {
  const BSONObject scopes = nested(BSON_TYPE_CODEWSCOPE, 60);
  const std::string bytes(reinterpret_cast<const char*>(scopes.data()), scopes.dataSize());
  const std::pair<std::size_t, bool> rows[] = {{141, true}, {142, false}, {201, false}, {202, true}};
  for (const auto& [levels, hasJson] : rows) {
    EXPECT_EQ(nested(BSON_TYPE_DOCUMENT, levels, "0", bytes).toJSON().empty(), !hasJson) << levels;
  }
}

TEST(DeepDocument, RefusalNamesTheElementItStandsUnder) {
  EXPECT_FALSE(nested(BSON_TYPE_DOCUMENT, 201, "").validate().isOk()) << "the fewest bytes that are too deep";
  BSONBuilder builder;
  builder.appendValue("deep", nested(BSON_TYPE_DOCUMENT, 200).get("0"));
  const std::uint32_t next = builder.getObject(false).dataSize() - 1;
  EXPECT_EQ(builder.getObject(false).validate().toString(), "OK");
  builder.appendValue("deeper", nested(BSON_TYPE_DOCUMENT, 201).get("0"));
  char expected[64];
  std::snprintf(expected, sizeof expected, "Failed: BSONObject: BSON is invalid at offset 0x%x.\n", next);
  EXPECT_EQ(builder.getObject(false).validate().toString(), expected);
}

}  // namespace
}  // namespace orvix
