// The command line of gsm-gateway. One thread.
#pragma once

#include <functional>

#include "gateway/client/options.h"

namespace orvix::gateway {

// What stands behind each command; returns an ExitCode.
using Command = std::function<int(const Options&)>;

struct Invocation {
  Options options;
  Command command;   // empty: all is said, as after --help
  int exitCode = 0;  // when there is no command
};

// The commands that need more than the service's socket.
struct OwnCommands {
  Command run;
  Command check;
  Command worker;  // hidden: a process of the service's own
};

// Reads the command line; help and complaints are printed here.
Invocation readCommandLine(int argc, char** argv, const OwnCommands& own);

}  // namespace orvix::gateway
