// The program gsm-gateway: its commands, and how each of them ends.

#include <csignal>
#include <iostream>
#include <optional>

#include "common/printable.h"
#include "gateway/client/failure.h"
#include "gateway/commandLine.h"
#include "gateway/config/config.h"
#include "gateway/run.h"
#include "gateway/worker/spawn.h"
#include "gateway/worker/workerMain.h"
#include "logging/logging.h"
#include "program/complaint.h"
#include "program/standardStreams.h"
#include "program/terminal.h"

namespace {

using namespace orvix::gateway;

constexpr char kName[] = "gsm-gateway";

int complain(const std::string& text, int exitCode) {
  orvix::program::complain(kName, text);
  return exitCode;
}

// None when the configuration is not fit; every problem is told.
std::optional<Config> readFitConfig(const Options& options) {
  const ConfigResult result = readConfig(options.configFile);
  for (const ConfigProblem& problem : result.problems) {
    // All of them, each on a line of its own with the path of its key.
    complain(options.configFile + ": " + (problem.key.empty() ? "" : problem.key + ": ") + problem.text, 0);
  }
  return result.problems.empty() ? std::optional(result.config) : std::nullopt;
}

int check(const Options& options) {
  if (!readFitConfig(options)) {
    return kBadConfiguration;
  }
  std::cout << orvix::shown(options.configFile) << ": fit to run\n";
  return kDone;
}

int run(const Options& options) {
  const std::optional<Config> config = readFitConfig(options);
  if (!config) {
    return kBadConfiguration;
  }
  orvix::setUpLogging(true, kName, true, 0, options.isVerbose ? 1 : 0, "", "");
  FLAGS_colorlogtostderr = orvix::program::isTerminal(std::cerr);  // the journal is none
  const int result = runService(*config);
  orvix::tearDownLogging();
  return result;
}

int execute(const Invocation& invocation) {
  try {
    const int result = invocation.command(invocation.options);
    return orvix::program::isOutputLost() ? complain("the output cannot be written", kFailure) : result;
  } catch (const Failure& failure) {
    return complain(failure.what(), failure.exitCode());
  } catch (const std::exception& error) {
    return complain(error.what(), kFailure);
  }
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for its options the program may end as it likes
int main(int argc, char** argv) {
  orvix::program::openStandardStreams();
  // A client or a reader of a pipe that goes away must not end the service.
  std::signal(SIGPIPE, SIG_IGN);
  const auto worker = [](const Options&) { return workerMain(kChildSocket); };
  const Invocation invocation = readCommandLine(argc, argv, {run, check, worker});
  return invocation.command ? execute(invocation) : invocation.exitCode;
}
