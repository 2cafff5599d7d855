// Lengths of time in milliseconds, 64 bits wide so that a year of them fits. Constants; any thread.
//
// Everything counts in milliseconds; what people give in other units is multiplied by these where it comes in.
#pragma once

#include <cstdint>

namespace orvix {

constexpr std::int64_t kSecondMs = 1000;
constexpr std::int64_t kMinuteMs = 60 * kSecondMs;
constexpr std::int64_t kHourMs = 60 * kMinuteMs;
// 24 h of the clock; a day of the calendar may be shorter or longer by an hour.
constexpr std::int64_t kDayMs = 24 * kHourMs;

}  // namespace orvix
