// How deep a document is nested. Pure functions; any thread, while nobody changes the document.
#pragma once

#include <cstddef>
#include <optional>

#include "document/bson.h"

namespace orvix {

// libbson walks nested documents by recursion, some 2 kB of stack a level, and takes any depth. What this library hands
// to such a walk is no deeper than this, which is also where libbson's JSON writer stops.
constexpr std::size_t kDeepestNesting = 200;

// Offset of the first top-level element under which `document` is deeper than kDeepestNesting levels, counting itself,
// documents, arrays and the scopes of code; nothing when it is not.
std::optional<std::size_t> offsetOfTooDeep(const bson_t* document);

}  // namespace orvix
