#include "gateway/service/heartbeat.h"

#include <algorithm>
#include <ctime>

namespace orvix::gateway {
namespace {

constexpr std::int64_t kMinuteMs = 60000;
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
  // Modulo a day, so that a heartbeat of 23:50 is still due at 00:10.
  const int late = (minuteOf(localTime(wallMs)) - minuteOfDay + kMinutesOfDay) % kMinutesOfDay;
  if (late > kMinutesOfHour) {
    return std::nullopt;
  }
  // Behind midnight the date is still the one on which it was due.
  const std::tm due = localTime(wallMs - late * kMinuteMs);
  char text[16];
  std::strftime(text, sizeof text, "%Y-%m-%d", &due);
  return text;
}

std::int64_t heartbeatWaitMs(std::int64_t wallMs, int minuteOfDay) {
  const std::tm local = localTime(wallMs);
  const int minutes = (minuteOfDay - minuteOf(local) + kMinutesOfDay) % kMinutesOfDay;
  const std::int64_t intoMinuteMs = wallMs % kMinuteMs;
  // Counted from the begin of the minute; when this is the minute itself, the next one is a day away.
  const std::int64_t waitMs = (minutes == 0 ? kMinutesOfDay : minutes) * kMinuteMs - intoMinuteMs;
  return std::min(waitMs, kMinutesOfHour * kMinuteMs);
}

}  // namespace orvix::gateway
