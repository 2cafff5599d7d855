// The two clocks that the service reads, in the hands of a test. Programs that link this have clock_gettime(2) replaced
// for CLOCK_MONOTONIC and CLOCK_REALTIME in what they link statically. One thread.
#pragma once

#include <cstdint>

namespace world {

struct ServiceTime {
  std::int64_t monotonicMs = 1000;
  std::int64_t wallMs = 1772355600000;  // 2026-03-01T09:00:00Z

  static ServiceTime& instance();
  void pass(std::int64_t ms) {
    monotonicMs += ms;
    wallMs += ms;
  }
};

}  // namespace world
