// The service in the foreground, from its first file to its last. One thread.
#pragma once

#include "gateway/config/config.h"
#include "gateway/exitCode.h"

namespace orvix::gateway {

// Runs until SIGTERM, SIGINT or SIGHUP and returns an ExitCode: kDone after a stop that was wished (30 s at most),
// kNotRunning where another service holds the storage folder, kFailure with the reason on standard error. Tells systemd
// (sd_notify) when it is ready, that it lives, and what it does. Throws nothing.
int runService(const Config& config);

}  // namespace orvix::gateway
