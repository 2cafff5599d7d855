// Numbers and times as text.

#include <charconv>
#include <cstdlib>

#include "debug/xdbg.h"

namespace {

// 32 binary digits, a sign and the terminating zero: what every caller's buffer holds.
constexpr int kTextSize = 34;

template <typename Integer>
char* toText(Integer value, char* buffer, int radix) {
  char* end = buffer;  // std::to_chars writes no terminating zero
  if (radix >= 2 && radix <= 36) {
    end = std::to_chars(buffer, buffer + kTextSize - 1, value, radix).ptr;
  }
  *end = '\0';
  return buffer;
}

}  // namespace

char* XDbgIntToText(int value, char* buffer, int radix) {
  return radix == 10 ? toText(value, buffer, radix) : toText(static_cast<unsigned>(value), buffer, radix);
}

char* XDbgUIntToText(unsigned value, char* buffer, int radix) {
  return toText(value, buffer, radix);
}

void XDbgDateTime(time_t value, char* date, char* time, unsigned flags) {
  constexpr unsigned kShortYear = 0x1;
  constexpr unsigned kNoSeconds = 0x2;
  constexpr size_t kBufferSize = 40;
  // localtime(3), because it looks at the zone each time.
  const std::tm* const local = std::localtime(&value);
  const long long year = local != nullptr ? local->tm_year + 1900LL : 0;
  if (date != nullptr) {
    *date = '\0';
    if (local != nullptr && (flags & kShortYear) != 0) {
      // A year before 1 BC is negative, and so would be its remainder.
      const int lastTwo = static_cast<int>(std::llabs(year) % 100);
      std::snprintf(date, kBufferSize, "%02d.%02d.%c%c", local->tm_mday, local->tm_mon + 1, '0' + lastTwo / 10,
                    '0' + lastTwo % 10);
    } else if (local != nullptr) {
      std::snprintf(date, kBufferSize, "%02d.%02d.%lld", local->tm_mday, local->tm_mon + 1, year);
    }
  }
  if (time != nullptr) {
    *time = '\0';
    if (local != nullptr && (flags & kNoSeconds) != 0) {
      std::snprintf(time, kBufferSize, "%02d:%02d", local->tm_hour, local->tm_min);
    } else if (local != nullptr) {
      std::snprintf(time, kBufferSize, "%02d:%02d:%02d", local->tm_hour, local->tm_min, local->tm_sec);
    }
  }
}
