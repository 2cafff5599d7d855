// The service in the foreground, from its first file to its last. One thread.
#pragma once

#include "gateway/config/config.h"

namespace orvix::gateway {

// How gsm-gateway ends.
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

// Runs until SIGTERM, SIGINT or SIGHUP and returns one of the codes above; says on standard error what kept it from
// starting. Tells systemd when it is ready, that it lives, and what it does.
int runService(const Config& config);

}  // namespace orvix::gateway
