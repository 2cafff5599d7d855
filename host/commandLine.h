// The command line of gsm-host. One thread.
#pragma once

#include <functional>

#include "host/options.h"

namespace orvix::host {

struct Invocation {
  Options options;
  std::function<void(const Options&)> command;  // empty: all is said, as after --help
  bool endsBySignal = false;                    // a signal is the usual end of this command
  int exitCode = 0;                             // when there is no command
};

// Reads the command line; help and complaints are printed here.
Invocation readCommandLine(int argc, char** argv);

}  // namespace orvix::host
