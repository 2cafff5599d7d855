#include "gateway/service/heartbeat.h"

#include <ctime>

#include "common/duration.h"

namespace orvix::gateway {
namespace {

constexpr int kMinutesOfHour = 60;
constexpr int kMinutesOfDay = 24 * 60;

std::tm localTime(std::int64_t wallMs) {
  const auto seconds = static_cast<std::time_t>(wallMs / 1000);
  std::tm local{};
  tzset();  // localtime_r alone would never see a change of the zone
  localtime_r(&seconds, &local);
  return local;
}

int minuteOf(const std::tm& local) {
  return local.tm_hour * kMinutesOfHour + local.tm_min;
}

}  // namespace

std::optional<std::string> heartbeatDate(std::int64_t wallMs, int minuteOfDay) {
  const std::tm local = localTime(wallMs);
  // Modulo a day, so that a heartbeat of 23:50 is still due at 00:10.
  const int late = (minuteOf(local) - minuteOfDay + kMinutesOfDay) % kMinutesOfDay;
  if (late > kMinutesOfHour) {
    return std::nullopt;
  }
  // After midnight the date is still the one on which it was due. Only there: where summer time begins at midnight, an
  // hour before is the day before.
  const std::tm due = minuteOf(local) < minuteOfDay ? localTime(wallMs - late * kMinuteMs) : local;
  char text[16];
  std::strftime(text, sizeof text, "%Y-%m-%d", &due);
  return text;
}

}  // namespace orvix::gateway
