#include "common/text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>

namespace orvix {

std::string toUpper(std::string text) {
  // toupper wants an unsigned char: a negative one would be undefined.
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
  return text;
}

std::string toLower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
  return text;
}

std::string intToText(int value, int radix) {
  if (radix < 2 || radix > 36) {
    return "";
  }
  // 32 binary digits; a decimal number with its sign is shorter.
  char digits[33];
  char* const end = digits + sizeof digits;
  const auto written =
      radix == 10 ? std::to_chars(digits, end, value) : std::to_chars(digits, end, static_cast<unsigned>(value), radix);
  return {digits, written.ptr};
}

std::string localTimeText(std::time_t time) {
  char text[64];
  return localTimeText(time, text);
}

const char* localTimeText(std::time_t time, char (&text)[64]) {
  // localtime(3) looks at the zone each time but keeps one result for all threads; localtime_r(3) keeps the first zone.
  tzset();
  std::tm local{};
  if (localtime_r(&time, &local) == nullptr) {
    return "";
  }
  // With 64 bits, for tm_year reaches as far as an int does.
  std::snprintf(text, sizeof text, "%02d.%02d.%04lld %02d:%02d", local.tm_mday, local.tm_mon + 1,
                local.tm_year + 1900LL, local.tm_hour, local.tm_min);
  return text;
}

}  // namespace orvix
