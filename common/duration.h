// The service counts time in milliseconds; lengths that people give in other units come in by these.
#pragma once

#include <cstdint>

namespace orvix {

constexpr std::int64_t kSecondMs = 1000;
constexpr std::int64_t kMinuteMs = 60 * kSecondMs;
constexpr std::int64_t kHourMs = 60 * kMinuteMs;
constexpr std::int64_t kDayMs = 24 * kHourMs;

}  // namespace orvix
