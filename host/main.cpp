#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "host/commandLine.h"
#include "host/exitCode.h"
#include "logging/logging.h"
#include "program/terminal.h"

namespace {

using namespace orvix::host;

int complain(const char* what, int exitCode) {
  std::cerr << orvix::program::red(std::cerr, "gsm-host:") << " " << what << std::endl;
  return exitCode;
}

// A reader of a pipe that has seen enough is no failure, a full disk is.
bool isReaderGone() {
  struct stat output {};
  return fstat(STDOUT_FILENO, &output) == 0 && S_ISFIFO(output.st_mode);
}

int run(const Invocation& invocation) {
  try {
    invocation.command(invocation.options);
    std::cout.flush();
    return std::cout || isReaderGone() ? kDone : complain("the output cannot be written", kInternal);
  } catch (const Failure& failure) {
    return complain(failure.what(), failure.exitCode());
  } catch (const std::exception& error) {
    return complain(error.what(), kInternal);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Invocation invocation = readCommandLine(argc, argv);
  if (!invocation.command) {
    return invocation.exitCode;
  }
  std::signal(SIGPIPE, SIG_IGN);  // a reader that goes away must not leave the line as it is
  orvix::setUpLogging(true, argv[0], true, 0, invocation.options.verbosity, "", "");
  const int result = run(invocation);
  orvix::tearDownLogging();
  return result;
}
