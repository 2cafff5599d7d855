#include "simulator/gsmAlphabet.h"

#include <cstdint>

namespace orvix::simulator {
namespace {

constexpr char kEscapeSeptet = 0x1B;
constexpr char32_t kReplacement = 0xFFFD;

// 3GPP TS 23.038, 6.2.1: the septet is the index. At 0x1B stands what an escape is shown as, a blank.
constexpr char16_t kDefault[] =
    u"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞ ÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?"
    u"¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà";
static_assert(sizeof kDefault / sizeof kDefault[0] == 128 + 1, "one character a septet");

// 3GPP TS 23.038, 6.2.1.1: what follows an escape.
constexpr struct {
  char septet;
  char16_t character;
} kExtension[] = {
    {0x0A, u'\f'}, {0x14, u'^'}, {0x28, u'{'}, {0x29, u'}'}, {0x2F, u'\\'},
    {0x3C, u'['},  {0x3D, u'~'}, {0x3E, u']'}, {0x40, u'|'}, {0x65, u'€'},
};

std::string utf8Of(char32_t character) {
  const auto head = [&](char32_t mark, int shift) { return static_cast<char>(mark | character >> shift); };
  const auto tail = [&](int shift) { return static_cast<char>(0x80 | (character >> shift & 0x3F)); };
  if (character < 0x80) {
    return {head(0, 0)};
  }
  if (character < 0x800) {
    return {head(0xC0, 6), tail(0)};
  }
  if (character < 0x10000) {
    return {head(0xE0, 12), tail(6), tail(0)};
  }
  return {head(0xF0, 18), tail(12), tail(6), tail(0)};
}

// Seven bits whatever comes, so that the table is never left.
char16_t plain(char septet) {
  return kDefault[septet & 0x7F];
}

// A code that the table leaves open is shown as the default alphabet shows it (3GPP TS 23.038, 6.2.1.1).
char16_t extended(char septet) {
  for (const auto& row : kExtension) {
    if (row.septet == septet) {
      return row.character;
    }
  }
  return plain(septet);
}

std::string septetsOfAscii(char character) {
  const auto code = static_cast<char16_t>(character);
  // From the end: the blank at the escape's place is only what an escape is shown as.
  const std::size_t index = std::u16string_view(kDefault).rfind(code);
  if (index != std::u16string_view::npos) {
    return {static_cast<char>(index)};
  }
  for (const auto& row : kExtension) {
    if (row.character == code) {
      return {kEscapeSeptet, row.septet};
    }
  }
  return "?";
}

// What is missing at the end reads as zero.
unsigned octetAt(std::string_view octets, std::size_t index) {
  return index < octets.size() ? static_cast<unsigned char>(octets[index]) : 0;
}

char32_t unitAt(std::string_view octets, std::size_t index) {
  return octetAt(octets, index) << 8 | octetAt(octets, index + 1);
}

bool isHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}

bool isLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

}  // namespace

std::string unpackSeptets(std::string_view octets, std::size_t first, std::size_t end) {
  std::string septets;
  for (std::size_t i = first; i < end; ++i) {
    // A septet lies in at most two octets, lowest bits first.
    const std::size_t octet = i * 7 / 8;
    const unsigned pair = octetAt(octets, octet) | octetAt(octets, octet + 1) << 8;
    septets += static_cast<char>(pair >> (i * 7 % 8) & 0x7F);
  }
  return septets;
}

std::string septetsOfGsmText(std::string_view bytes) {
  std::string septets;
  for (const char byte : bytes) {
    septets += static_cast<char>(byte & 0x7F);
  }
  return septets;
}

std::string septetsOfIraText(std::string_view bytes) {
  std::string septets;
  for (const char byte : bytes) {
    septets += septetsOfAscii(static_cast<char>(byte & 0x7F));
  }
  return septets;
}

std::string utf8OfGsm(std::string_view septets) {
  std::string text;
  for (std::size_t i = 0; i < septets.size(); ++i) {
    const bool escaped = septets[i] == kEscapeSeptet && i + 1 < septets.size();
    text += utf8Of(escaped ? extended(septets[++i]) : plain(septets[i]));
  }
  return text;
}

std::string utf8OfUcs2(std::string_view octets) {
  std::string text;
  for (std::size_t i = 0; i + 1 < octets.size(); i += 2) {
    const char32_t unit = unitAt(octets, i);
    const char32_t next = unitAt(octets, i + 2);
    // UCS2 has no pairs, but telephones send characters outside of it as UTF-16 does.
    if (isHighSurrogate(unit) && isLowSurrogate(next)) {
      text += utf8Of(0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
      i += 2;
    } else {
      text += utf8Of(isHighSurrogate(unit) || isLowSurrogate(unit) ? kReplacement : unit);
    }
  }
  return text;
}

std::string utf8OfLatin1(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += utf8Of(static_cast<unsigned char>(byte));
  }
  return text;
}

}  // namespace orvix::simulator
