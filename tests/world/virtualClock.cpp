#include "tests/world/virtualClock.h"

#include <cerrno>
#include <ctime>

#include <unistd.h>

namespace world {

VirtualClock& VirtualClock::instance() {
  thread_local VirtualClock clock;
  return clock;
}

void VirtualClock::sleepUs(std::int64_t microseconds) {
  if (listener != nullptr) {
    listener->beforeSleep(nowMs());
  }
  nowUs += microseconds;
  sleepsMs.push_back(microseconds / 1000);
  if (listener != nullptr) {
    listener->afterSleep(nowMs());
  }
}

}  // namespace world

extern "C" int __wrap_nanosleep(const timespec* request, timespec* remaining) {
  world::VirtualClock& clock = world::VirtualClock::instance();
  std::int64_t us = std::int64_t{request->tv_sec} * 1000000 + request->tv_nsec / 1000;
  if (clock.interruptNext) {
    clock.interruptNext = false;
    us /= 2;
    clock.sleepUs(us);
    *remaining = {static_cast<time_t>(us / 1000000), static_cast<long>(us % 1000000) * 1000};
    errno = EINTR;
    return -1;
  }
  clock.sleepUs(us);
  return 0;
}

extern "C" int __wrap_usleep(useconds_t us) {
  world::VirtualClock::instance().sleepUs(us);
  return 0;
}
