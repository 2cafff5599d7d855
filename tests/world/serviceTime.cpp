#include "tests/world/serviceTime.h"

#include <ctime>

namespace world {

ServiceTime& ServiceTime::instance() {
  static ServiceTime time;
  return time;
}

}  // namespace world

extern "C" int __real_clock_gettime(clockid_t clock, timespec* time);

extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* time) {
  if (clock != CLOCK_MONOTONIC && clock != CLOCK_REALTIME) {
    return __real_clock_gettime(clock, time);
  }
  const world::ServiceTime& shown = world::ServiceTime::instance();
  const std::int64_t ms = clock == CLOCK_MONOTONIC ? shown.monotonicMs : shown.wallMs;
  *time = {static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000};
  return 0;
}
