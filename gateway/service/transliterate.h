// Text in UTF-8 as what a modem's text mode carries. Any thread.
#pragma once

#include <optional>
#include <string>

namespace orvix::gateway {

// The nearest ASCII of all that is none: ü becomes ue, € EUR, é e, Ж ZH. What has no likeness becomes `unknown`;
// without that it stays, and so is refused later, as a control character is. The same in every locale.
// Bytes that are no UTF-8 count as characters without a likeness. Each call opens the C library's tables anew: meant
// for one text, not for a stream.
std::string transliterated(const std::string& utf8, const std::optional<std::string>& unknown = std::nullopt);

}  // namespace orvix::gateway
