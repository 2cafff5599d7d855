// Service time: milliseconds that run with the monotonic clock, so that a jump of the wall clock moves no deadline, and
// go on over restarts. One file reads the clocks; all else gets the time as a parameter. One thread.
//
// Wall time = service time + offset. At a start before the last time stored, that one counts.
#pragma once

#include <cstdint>

namespace orvix::gateway {

// A machine without a clock of its own starts in 1970: until its wall clock has passed the time that was stored last,
// what is shown is that time and what has run since.
class ServiceClock {
 public:
  // What was stored last, both in ms; 0 and 0 at the very first start, when service time begins as wall time.
  ServiceClock(std::int64_t storedMs, std::int64_t storedOffsetMs);

  // Never goes back.
  std::int64_t nowMs() const;
  // To be added to a service time for showing it; follows the wall clock's jumps whenever update() is called.
  std::int64_t offsetMs() const { return offset; }
  // To be called once a round. A jump of the wall clock moves what is shown from there on, stored times included.
  void update();

 private:
  std::int64_t startMs;
  std::int64_t monotonicStartMs;
  std::int64_t floorMs;  // wall time that is surely past
  std::int64_t offset;
};

}  // namespace orvix::gateway
