// The commands that speak with a running service, and `token`. One thread.
//
// Each prints its result on standard output and returns the exit code; Failure ends it otherwise, and so does any other
// std::exception, which is exit code 1.
#pragma once

#include "gateway/client/options.h"

namespace orvix::gateway::client {

// The id of each message on a line of its own; with --wait the exit code tells what became of it.
int sendMessage(const Options& options);
// Tables for people, or the service's own JSON.
int listMessages(const Options& options);
int showMessage(const Options& options);
// The new state of the message.
int resolveMessage(const Options& options);
int cancelMessage(const Options& options);
int showStatus(const Options& options);
// The token, which is shown this once, and the object for the configuration. Needs no service.
int makeToken(const Options& options);

}  // namespace orvix::gateway::client
