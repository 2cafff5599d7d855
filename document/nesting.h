// How deep a document is nested. Pure functions; any thread, while nobody changes the document.
#pragma once

#include <cstddef>
#include <optional>

#include "document/bson.h"

namespace orvix {

// libbson walks nested documents by recursion, some 2 kB of stack a level. Its validation takes any depth; its JSON
// writer stops by itself below this level, but begins to count anew in the scope of a piece of code.
constexpr std::size_t kDeepestNesting = 200;

enum class Walk { kValidation, kJson };

// Offset of the first top-level element under which that walk would go on without a bound: for the validation where
// `document` is deeper than kDeepestNesting levels, counting itself, documents, arrays and the scopes of code; for JSON
// where a scope stands deeper than that. Nothing when the walk may be left to libbson.
std::optional<std::size_t> offsetOfTooDeep(const bson_t* document, Walk walk);

}  // namespace orvix
