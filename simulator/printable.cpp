#include "simulator/printable.h"

namespace orvix::simulator {
namespace {

std::string printableByte(char byte) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  const unsigned value = static_cast<unsigned char>(byte);
  switch (byte) {
    case '\\':
      return "\\\\";
    case '\r':
      return "\\r";
    case '\n':
      return "\\n";
    default:
      break;
  }
  if (value >= 0x20 && value < 0x7F) {
    return {byte};
  }
  return {'\\', 'x', kDigits[value >> 4], kDigits[value & 0xF]};
}

}  // namespace

std::string printable(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += printableByte(byte);
  }
  return text;
}

}  // namespace orvix::simulator
