#include "document/nesting.h"

#include <vector>

namespace orvix {
namespace {

// Type, an empty key, length word and final zero: what each level adds at least.
constexpr std::size_t kSmallestLevel = 7;

// A type of its own, because a template argument drops the alignment that libbson asks of an iterator.
struct Level {
  bson_iter_t position;
};

}  // namespace

std::optional<std::size_t> offsetOfTooDeep(const bson_t* document) {
  if (document->len < kDeepestNesting * kSmallestLevel) {
    return std::nullopt;
  }
  std::vector<Level> levels(1);
  bson_iter_init(&levels[0].position, document);
  while (!levels.empty()) {
    bson_t nested;
    if (!bson_iter_next(&levels.back().position)) {
      levels.pop_back();
    } else if (viewEmbedded(levels.back().position, &nested)) {
      if (levels.size() == kDeepestNesting) {
        return bson_iter_offset(&levels[0].position);
      }
      bson_iter_init(&levels.emplace_back().position, &nested);
    }
  }
  return std::nullopt;
}

}  // namespace orvix
