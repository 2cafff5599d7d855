// Small text conversions. Any thread.
#pragma once

#include <ctime>
#include <string>

namespace orvix {

// Copies with every byte through toupper(3) or tolower(3).
// By the process's locale, byte by byte: of UTF-8 only the ASCII letters change. Meant for keywords and protocol words.
std::string toUpper(std::string text);
std::string toLower(std::string text);

// `value` in `radix` (2 to 36, digits above 9 in lower case; "" for another radix). A minus sign stands in radix 10
// only: in any other radix a negative value is shown as its 32-bit two's complement.
// At most 32 characters.
std::string intToText(int value, int radix);

// Local time of `time`, by the zone that TZ or /etc/localtime names now, as "dd.mm.yyyy hh:mm"; "" when it cannot be
// converted. The other form writes into `text`, which holds any result, and gives it back.
std::string localTimeText(std::time_t time);
const char* localTimeText(std::time_t time, char (&text)[64]);

}  // namespace orvix
