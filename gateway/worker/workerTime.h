// The worker's clock, and how often it has something to say. Any thread.
#pragma once

#include <cstdint>

#include "common/duration.h"
#include "hostkit/traffic.h"

namespace orvix::gateway {

// A worker says at least this often that it lives; the supervisor takes a silence of 90 s for its end.
// Also while it waits or listens; only a call into the plug-in keeps it from it, and that has a bound of its own.
constexpr std::int64_t kSignOfLifeMs = 30 * kSecondMs;

// Milliseconds that run with the monotonic clock, so that no jump of the wall clock cuts a wait short. They mean
// nothing outside the process.
inline std::int64_t nowMs() {
  return hostkit::monotonicUs() / 1000;
}

}  // namespace orvix::gateway
