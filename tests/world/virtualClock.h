// Time that passes only when somebody sleeps. Each thread has a clock of its own.
//
// Programs that link test_world have nanosleep(2) and usleep(3) replaced: they return at once, after the time has been
// added here and the listener, the modem on the other side, has read what was sent and written what fell due.
#pragma once

#include <cstdint>
#include <vector>

namespace world {

class ClockListener {
 public:
  virtual void beforeSleep(std::int64_t nowMs) = 0;
  virtual void afterSleep(std::int64_t nowMs) = 0;

 protected:
  ~ClockListener() = default;
};

class VirtualClock {
 public:
  static VirtualClock& instance();

  std::int64_t nowMs() const { return nowUs / 1000; }
  void sleepUs(std::int64_t microseconds);
  // Every sleep so far in milliseconds; tests clear it.
  std::vector<std::int64_t> sleepsMs;
  // Borrowed; null for none.
  ClockListener* listener = nullptr;
  // Makes the next nanosleep return EINTR half way.
  bool interruptNext = false;

 private:
  std::int64_t nowUs = 0;
};

}  // namespace world
