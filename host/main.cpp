// gsm-host: drives one modem by hand through the plug-in's boundary.

#include <csignal>

#include "host/commandLine.h"
#include "host/escapedLog.h"
#include "host/exitCode.h"
#include "host/output.h"
#include "logging/logging.h"
#include "program/complaint.h"
#include "program/standardStreams.h"
#include "program/stopSignals.h"

namespace {

using namespace orvix::host;

int endWith(const Invocation& invocation, const Failure& failure) {
  orvix::program::complain("gsm-host", failure.what());
  if (invocation.options.common.json) {
    Json document = {{"error", failure.what()}, {"exitCode", failure.exitCode()}};
    // On standard output even though it is a failure: scripts read one stream.
    document.update(failure.moreFields());
    printJson(document);
  }
  return failure.exitCode();
}

int run(const Invocation& invocation) {
  try {
    invocation.command(invocation.options);
    if (orvix::program::isOutputLost()) {
      throw Failure(kInternal, "the output cannot be written");
    }
    return kDone;
  } catch (const Failure& failure) {
    return endWith(invocation, failure);
  } catch (const std::exception& error) {
    return endWith(invocation, {kInternal, error.what()});
  }
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): no memory for a complaint ends the process
int main(int argc, char** argv) {
  orvix::program::openStandardStreams();
  const Invocation invocation = readCommandLine(argc, argv);
  if (!invocation.command) {
    return invocation.exitCode;
  }
  std::signal(SIGPIPE, SIG_IGN);  // a reader that goes away must not leave the line as it is
  orvix::setUpLogging(true, argv[0], true, 0, invocation.options.common.verbosity, "", "");
  std::signal(SIGTERM, SIG_DFL);  // glog would print a stack trace
  // The log's own life is that of the command, within that of logging itself.
  const int result = [&] {
    const EscapedLog log;
    return run(invocation);
  }();
  orvix::tearDownLogging();
  constexpr int kBySignal = 128;  // as shells tell it
  const int signal = orvix::program::stopSignal();
  return signal != 0 && !invocation.endsBySignal ? kBySignal + signal : result;
}
