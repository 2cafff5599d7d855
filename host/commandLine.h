// The command line of gsm-host: which command is meant, with its options. One thread.
//
// Nothing is done here but reading; what only a device can judge comes to the command as it was typed.
#pragma once

#include <functional>

#include "host/options.h"

namespace orvix::host {

// What main() is to do.
struct Invocation {
  Options options;
  std::function<void(const Options&)> command;  // empty: all is said, as after --help
  bool endsBySignal = false;                    // a signal is the usual end of this command
  int exitCode = 0;                             // when there is no command
};

// Reads main's arguments. Help, the version and complaints are printed here, the last with --json as a document too;
// `command` is empty then and `exitCode` is the program's. Throws nothing for wrong usage.
Invocation readCommandLine(int argc, char** argv);

}  // namespace orvix::host
