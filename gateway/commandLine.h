// The command line of gsm-gateway: which command is meant, with its options. One thread.
//
// Nothing is done here but reading: help, the version and complaints are printed, everything else is the commands'.
#pragma once

#include <functional>

#include "gateway/client/options.h"

namespace orvix::gateway {

// What stands behind each command; returns an ExitCode.
using Command = std::function<int(const Options&)>;

struct Invocation {
  Options options;
  // Empty when there is nothing to do: help or the version was printed, or a complaint about wrong usage.
  Command command;
  // Without a command: kDone after help, kUsage after a complaint.
  int exitCode = 0;
};

// The commands that need more than the service's socket. They are handed in, so that the command line can be read
// without the service being linked in.
struct OwnCommands {
  Command run;
  Command check;
  Command worker;  // hidden from the help: the service starts its own workers by it
};

// Reads main's arguments. Throws nothing: what is wrong with them ends as an exit code.
Invocation readCommandLine(int argc, char** argv, const OwnCommands& own);

}  // namespace orvix::gateway
