// The worker's clock. Any thread.
#pragma once

#include <cstdint>

#include "hostkit/traffic.h"

namespace orvix::gateway {

// Milliseconds that run with the monotonic clock, so that no jump of the wall clock cuts a wait short. They mean
// nothing outside the process.
inline std::int64_t nowMs() {
  return hostkit::monotonicUs() / 1000;
}

}  // namespace orvix::gateway
