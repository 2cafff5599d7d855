// The service in the foreground, from its first file to its last. One thread.
#pragma once

#include "gateway/config/config.h"
#include "gateway/exitCode.h"

namespace orvix::gateway {

// Runs until SIGTERM, SIGINT or SIGHUP and returns an ExitCode; says on standard error what kept it from
// starting. Tells systemd when it is ready, that it lives, and what it does.
int runService(const Config& config);

}  // namespace orvix::gateway
