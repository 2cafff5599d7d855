// Text in UTF-8 as what a modem's text mode carries. Any thread.
#pragma once

#include <optional>
#include <string>

namespace orvix::gateway {

// The nearest ASCII of all that is none: ü becomes ue, € EUR, é e, Ж ZH. What has no likeness becomes `unknown`;
// without that it stays, and so is refused later, as a control character is. The same in every locale.
std::string transliterated(const std::string& utf8, const std::optional<std::string>& unknown = std::nullopt);

}  // namespace orvix::gateway
