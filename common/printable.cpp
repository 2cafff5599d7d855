#include "common/printable.h"

#include <cstddef>
#include <cstdint>

namespace orvix {
namespace {

// Digits are written in lower case and read in either: those of 16 to 31 are the same again.
constexpr std::string_view kDigits = "0123456789abcdef0123456789ABCDEF";

std::string hexByte(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return {kDigits[value >> 4], kDigits[value & 0xF]};
}

std::string escapedByte(char byte) {
  switch (byte) {
    case '\r':
      return "\\r";
    case '\n':
      return "\\n";
    case '\\':
      return "\\\\";
    default:
      // Not isprint, which asks the locale.
      return byte >= ' ' && byte <= '~' ? std::string(1, byte) : "\\x" + hexByte(byte);
  }
}

struct Character {
  std::uint32_t code;
  std::size_t size;  // bytes; 0: not UTF-8
};

// The first character of a text that is not empty.
Character firstCharacter(std::string_view text) {
  // The smallest code that may take so many bytes: a longer form of a smaller one would slip past a filter.
  static constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) {
    return {first, 1};
  }
  const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC0 || first > 0xF7 || size > text.size()) {
    return {0, 0};
  }
  std::uint32_t code = first & (0x7Fu >> size);
  for (const char byte : text.substr(1, size - 1)) {
    const auto next = static_cast<unsigned char>(byte);
    if ((next & 0xC0) != 0x80) {
      return {0, 0};
    }
    code = code << 6 | (next & 0x3Fu);
  }
  // Halves of a UTF-16 pair are no characters (RFC 3629, 3).
  const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
  return code < kLeast[size] || code > 0x10FFFF || isSurrogate ? Character{0, 0} : Character{code, size};
}

bool isHarmless(std::uint32_t code) {
  struct Range {
    std::uint32_t first;
    std::uint32_t last;
  };
  // Controls but line feed and tab, DEL and C1, and what turns the direction of writing around.
  static constexpr Range kHarmful[] = {{0x00, 0x08},     {0x0B, 0x1F},     {0x7F, 0x9F},    {0x61C, 0x61C},
                                       {0x200E, 0x200F}, {0x202A, 0x202E}, {0x2066, 0x2069}};
  for (const Range& range : kHarmful) {
    if (code >= range.first && code <= range.last) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::string escaped(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += escapedByte(byte);
  }
  return text;
}

std::string shown(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    // Of what is no UTF-8 one byte, so that whatever follows it is looked at anew.
    const std::string_view bytes = text.substr(0, character.size == 0 ? 1 : character.size);
    if (character.size != 0 && isHarmless(character.code)) {
      result += bytes;
    } else {
      for (const char byte : bytes) {
        result += "\\x" + hexByte(byte);
      }
    }
    text.remove_prefix(bytes.size());
  }
  return result;
}

std::string hexText(std::string_view bytes) {
  std::string text;
  text.reserve(2 * bytes.size());
  for (const char byte : bytes) {
    text += hexByte(byte);
  }
  return text;
}

std::optional<std::string> bytesOfHex(std::string_view digits) {
  if (digits.size() % 2 != 0) {
    return std::nullopt;
  }
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const std::size_t high = kDigits.find(digits[i]);
    const std::size_t low = kDigits.find(digits[i + 1]);
    if (high == std::string_view::npos || low == std::string_view::npos) {
      return std::nullopt;
    }
    bytes += static_cast<char>(high % 16 << 4 | low % 16);
  }
  return bytes;
}

}  // namespace orvix
