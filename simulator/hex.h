// Bytes from hexadecimal digits. Pure: any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvix::simulator {

// Two digits a byte, in either case; none for anything else.
std::optional<std::string> bytesOfHex(std::string_view digits);

}  // namespace orvix::simulator
