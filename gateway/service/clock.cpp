#include "gateway/service/clock.h"

#include <algorithm>
#include <ctime>

#include "common/duration.h"

namespace orvix::gateway {
namespace {

std::int64_t read(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<std::int64_t>(time.tv_sec) * kSecondMs + time.tv_nsec / 1000000;
}

}  // namespace

ServiceClock::ServiceClock(std::int64_t storedMs, std::int64_t storedOffsetMs)
    // Wall time without the stored offset is service time; a clock that stands before the last time stored counts for
    // nothing.
    : startMs(std::max(storedMs, read(CLOCK_REALTIME) - storedOffsetMs)),
      monotonicStartMs(read(CLOCK_MONOTONIC)),
      floorMs(storedMs + storedOffsetMs),
      offset(storedOffsetMs) {
}

std::int64_t ServiceClock::nowMs() const {
  return startMs + read(CLOCK_MONOTONIC) - monotonicStartMs;
}

void ServiceClock::update() {
  const std::int64_t beforeMs = nowMs();
  const std::int64_t wallMs = read(CLOCK_REALTIME);
  const std::int64_t afterMs = nowMs();
  // What rounding to milliseconds or a pause between the readings explains is no jump: what is shown of a message must
  // not flicker.
  const bool hasJumped = wallMs < beforeMs + offset - 1 || wallMs > afterMs + offset + 1;
  // A clock that has not been set since boot shows a time that is surely past.
  if (hasJumped && wallMs >= floorMs) {
    offset = wallMs - afterMs;
  }
}

}  // namespace orvix::gateway
