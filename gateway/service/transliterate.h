// Text in UTF-8 as what a modem's text mode carries. Any thread.
#pragma once

#include <string>

namespace orvix::gateway {

// The nearest printable ASCII: ü becomes ue, € EUR, é e, Ж ZH, a backquote an apostrophe. Line feeds stay; what has no
// likeness, other control characters and bytes that are no UTF-8 become a blank each. The same in every locale.
std::string transliterated(const std::string& utf8);

}  // namespace orvix::gateway
