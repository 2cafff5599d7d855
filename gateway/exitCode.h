// How gsm-gateway ends: its exit statuses, which scripts rely on. A number keeps its meaning from version to version.
// Any thread.
#pragma once

namespace orvix::gateway {

enum ExitCode : int {
  // 0 to 4: what the program itself met.
  kDone = 0,              // send --wait: sent
  kFailure = 1,           // anything that no other number names
  kUsage = 2,             // of the command line
  kBadConfiguration = 3,  // each problem stands on standard error
  kNotRunning = 4,        // client: no service there; run: one is running already
  // 5 to 8: what became of a message, or of what was asked of the service.
  kNotSent = 5,  // failed, expired or cancelled
  kUncertain = 6,
  kNotYet = 7,
  kRefused = 8,  // by the service: its words stand on standard error
};

}  // namespace orvix::gateway
