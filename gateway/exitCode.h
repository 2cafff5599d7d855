// How gsm-gateway ends. Any thread.
#pragma once

namespace orvix::gateway {

enum ExitCode : int {
  kDone = 0,
  kFailure = 1,
  kUsage = 2,
  kBadConfiguration = 3,
  kNotRunning = 4,  // client: no service there; run: one is running already
  kNotSent = 5,     // failed, expired or cancelled
  kUncertain = 6,
  kNotYet = 7,
  kRefused = 8,
};

}  // namespace orvix::gateway
