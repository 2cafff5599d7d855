// Times as machines exchange them: ISO 8601 and its profile RFC 3339. Pure but for the zone of isoTime, which the
// environment or the system decides. Any thread.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace orvix {

// Local time with its offset from UTC, "2026-03-01T09:30:00+01:00", after the zone as it is at this moment: a change of
// TZ or /etc/localtime shows at once.
// Whole seconds, 25 characters; the zone is read by tzset(3) at each call.
std::string isoTime(std::time_t time);

// `ms` milliseconds since 1970 in UTC, "2026-03-01T08:30:00.000Z". The year must be 0 to 9999. Reckons with 64 bits, so
// that 2038 is no border where time_t has 32.
// 24 characters, so that such times sort as text.
std::string rfc3339(std::int64_t ms);

// Milliseconds since 1970 of a time in RFC 3339, with any offset; digits after the milliseconds are dropped and a leap
// second counts as the second after it. None for anything else.
// "T" and "Z" in either case; a blank for the "T" is refused. Dates are those of the Gregorian calendar, also before
// 1582.
std::optional<std::int64_t> msOfRfc3339(std::string_view text);

}  // namespace orvix
