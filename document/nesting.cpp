#include "document/nesting.h"

#include <vector>

namespace orvix {
namespace {

// Type, an empty key, length word and final zero: what each level adds at least.
constexpr std::size_t kSmallestLevel = 7;

// A type of its own, because a template argument drops the alignment that libbson asks of an iterator.
struct OpenLevel {
  bson_iter_t position;
  std::size_t depth;  // below the document, or the scope that it stands in
};

}  // namespace

std::optional<std::size_t> offsetOfTooDeep(const bson_t* document, Walk walk) {
  // Too small to be deep, as nearly all documents are: no walk at all.
  if (document->len < kDeepestNesting * kSmallestLevel) {
    return std::nullopt;
  }
  // On the heap, for the depth is what is in question.
  std::vector<OpenLevel> levels(1);
  bson_iter_init(&levels[0].position, document);
  while (!levels.empty()) {
    const OpenLevel& level = levels.back();
    bson_t nested;
    if (!bson_iter_next(&levels.back().position)) {
      levels.pop_back();
    } else if (viewEmbedded(level.position, &nested)) {
      const bool isScope = BSON_ITER_HOLDS_CODEWSCOPE(&level.position);
      if (levels.size() >= kDeepestNesting && (isScope || walk == Walk::kValidation)) {
        return bson_iter_offset(&levels[0].position);
      }
      // A scope is written as a document of its own.
      const std::size_t depth = isScope ? 0 : level.depth + 1;
      if (depth <= kDeepestNesting) {  // libbson writes "{ ... }" for what is below.
        levels.push_back({{}, depth});
        bson_iter_init(&levels.back().position, &nested);
      }
    }
  }
  return std::nullopt;
}

}  // namespace orvix
