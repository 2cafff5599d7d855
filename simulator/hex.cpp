#include "simulator/hex.h"

namespace orvix::simulator {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef0123456789ABCDEF";

}  // namespace

std::optional<std::string> bytesOfHex(std::string_view digits) {
  std::string bytes;
  if (digits.size() % 2 != 0) {
    return std::nullopt;
  }
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const std::size_t high = kDigits.find(digits[i]);
    const std::size_t low = kDigits.find(digits[i + 1]);
    if (high == kDigits.npos || low == kDigits.npos) {
      return std::nullopt;
    }
    bytes += static_cast<char>(high % 16 << 4 | low % 16);
  }
  return bytes;
}

}  // namespace orvix::simulator
