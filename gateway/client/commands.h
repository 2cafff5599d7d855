// The commands that speak with a running service, and `token`. One thread.
//
// Each prints its result on standard output and returns the exit code; Failure ends it otherwise, and so does any other
// std::exception, which is exit code 1.
#pragma once

#include "gateway/client/options.h"

namespace orvix::gateway::client {

int sendMessage(const Options& options);
int listMessages(const Options& options);
int showMessage(const Options& options);
int resolveMessage(const Options& options);
int cancelMessage(const Options& options);
int showStatus(const Options& options);
int makeToken(const Options& options);

}  // namespace orvix::gateway::client
