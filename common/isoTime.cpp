#include "common/isoTime.h"

#include <cstdio>

#include "common/duration.h"

namespace orvix {
namespace {

// Days since 1970 of a date of the Gregorian calendar. Computed here because time_t of 32 bits ends in 2038.
std::int64_t daysOf(std::int64_t year, int month, int day) {
  // 153 days are five months of 31, 30, 31, 30 and 31 days from March on; 719468 is the first of March of the year 0,
  // counted from 1970.
  const std::int64_t y = month <= 2 ? year - 1 : year;  // a year that begins in March ends with its leap day
  const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const std::int64_t leapDays = (y >= 0 ? y : y - 399) / 400 - (y >= 0 ? y : y - 99) / 100 + (y >= 0 ? y : y - 3) / 4;
  return 365 * y + leapDays + dayOfYear - 719468;
}

int daysInMonth(int year, int month) {
  return static_cast<int>(month == 12 ? 31 : daysOf(year, month + 1, 1) - daysOf(year, month, 1));
}

struct Date {
  int year;
  int month;
  int day;
};

Date dateOf(std::int64_t days) {
  // A mean year is 365.2425 days; the estimate is at most one year off.
  int year = static_cast<int>(1970 + days * 10000 / 3652425);
  while (daysOf(year, 1, 1) > days) {
    --year;
  }
  while (daysOf(year + 1, 1, 1) <= days) {
    ++year;
  }
  int month = 12;
  while (daysOf(year, month, 1) > days) {
    --month;
  }
  return {year, month, static_cast<int>(days - daysOf(year, month, 1)) + 1};
}

// Takes fields from the front; once one is wrong, isGood() stays false.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest(text) {}

  // A number that is wrong reads as `least`, so that what is reckoned with it afterwards stays defined.
  int number(std::size_t digits, int least, int greatest) {
    int value = 0;
    for (std::size_t i = 0; i < digits; ++i) {
      const char digit = take();
      good = good && digit >= '0' && digit <= '9';
      value = 10 * value + (digit - '0');
    }
    good = good && value >= least && value <= greatest;
    return good ? value : least;
  }

  void oneOf(std::string_view characters) { good = characters.find(take()) != std::string_view::npos && good; }

  // Up to three digits after a point, as milliseconds; further digits are passed over.
  int fraction() {
    if (rest.empty() || rest.front() != '.') {
      return 0;
    }
    rest.remove_prefix(1);
    // A digit must follow the point. From the fourth on the weight is 0.
    int value = number(1, 0, 9) * 100;
    for (int weight = 10; !rest.empty() && rest.front() >= '0' && rest.front() <= '9'; weight /= 10) {
      value += (take() - '0') * weight;
    }
    return value;
  }

  // "Z" or "+hh:mm", in minutes east.
  int offset() {
    const char sign = take();
    if (sign == 'Z' || sign == 'z') {
      return 0;
    }
    good = good && (sign == '+' || sign == '-');
    const int hours = number(2, 0, 23);
    oneOf(":");
    const int minutes = 60 * hours + number(2, 0, 59);
    return sign == '-' ? -minutes : minutes;
  }

  bool isGood() const { return good; }
  bool isAtEnd() const { return rest.empty(); }

 private:
  char take() {
    if (rest.empty()) {
      good = false;
      return '\0';
    }
    const char first = rest.front();
    rest.remove_prefix(1);
    return first;
  }

  std::string_view rest;
  bool good = true;
};

}  // namespace

std::string isoTime(std::time_t time) {
  tzset();  // localtime_r looks for the zone only once
  std::tm local{};
  localtime_r(&time, &local);
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &local);
  // %z gives no colon between hours and minutes.
  const std::string iso = text;
  return iso.substr(0, iso.size() - 2) + ":" + iso.substr(iso.size() - 2);
}

std::string rfc3339(std::int64_t ms) {
  // Rounded down, so that the time of day is never negative.
  const std::int64_t days = (ms >= 0 ? ms : ms - (kDayMs - 1)) / kDayMs;
  const Date date = dateOf(days);
  const auto ofDay = static_cast<int>(ms - days * kDayMs);
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", date.year, date.month, date.day,
                ofDay / 3'600'000, ofDay / 60'000 % 60, ofDay / 1000 % 60, ofDay % 1000);
  return text;
}

std::optional<std::int64_t> msOfRfc3339(std::string_view text) {
  Reader reader(text);
  const int year = reader.number(4, 0, 9999);
  reader.oneOf("-");
  const int month = reader.number(2, 1, 12);
  reader.oneOf("-");
  const int day = reader.number(2, 1, daysInMonth(year, month));
  reader.oneOf("Tt");
  const int hour = reader.number(2, 0, 23);
  reader.oneOf(":");
  const int minute = reader.number(2, 0, 59);
  reader.oneOf(":");
  const int second = reader.number(2, 0, 60);
  const int ms = reader.fraction();
  const int offset = reader.offset();
  if (!reader.isGood() || !reader.isAtEnd()) {
    return std::nullopt;
  }
  return daysOf(year, month, day) * kDayMs + (hour * 60 + minute - offset) * kMinuteMs + second * kSecondMs + ms;
}

}  // namespace orvix
