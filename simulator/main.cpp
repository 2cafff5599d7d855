// gsm-modem-simulator: a GSM modem on a pseudo-terminal or on the network, for developing without hardware.

#include <unistd.h>

#include <csignal>
#include <ctime>
#include <memory>
#include <sstream>

#include "common/printable.h"
#include "program/complaint.h"
#include "program/standardStreams.h"
#include "program/stopSignals.h"
#include "simulator/arguments.h"
#include "simulator/messageLog.h"
#include "simulator/modem.h"
#include "simulator/output.h"
#include "simulator/ptyLine.h"
#include "simulator/replay.h"
#include "simulator/runLoop.h"

namespace orvix::simulator {
namespace {

constexpr char kProgram[] = "gsm-modem-simulator";
constexpr int kFailure = 1;
constexpr int kUsageError = 2;

// A signal handler has no argument of ours.
Plug* signalledPlug = nullptr;

// In a signal handler: a plug touches nothing but atomics and an eventfd.
void movePlug(int signal) {
  if (signal == SIGUSR1) {
    signalledPlug->pull();
  } else {
    signalledPlug->putIn();
  }
}

// A reader of our output that goes away must not end us either: the link would stay.
void catchSignals(Plug* plug) {
  program::catchStopSignals();
  signalledPlug = plug;
  std::signal(SIGUSR1, movePlug);
  std::signal(SIGUSR2, movePlug);
  std::signal(SIGPIPE, SIG_IGN);
}

Output standardOutput() {
  return {STDOUT_FILENO, program::stopDescriptor()};
}

Output standardError() {
  return {STDERR_FILENO, program::stopDescriptor()};
}

void showMessage(const Message& message) {
  standardOutput().write("\nSMS to " + escaped(message.destination) + (message.reference ? "" : ", not sent") + "\n  " +
                         shown(message.text) + "\n");
}

void showDialogue(Direction direction, std::string_view bytes) {
  standardError().write((direction == Direction::kToModem ? "-> " : "<- ") + escaped(bytes) + "\n");
}

void announce(const Line& line, const std::string& link) {
  standardOutput().write("modem on " + line.name() + (link.empty() ? "" : " linked from " + escaped(link)) + "\n");
}

int complain(const std::string& complaint, int exitCode) {
  program::complain(kProgram, complaint);
  return exitCode;
}

// The greeting follows the line that names the line, once.
void runOnLine(Dce& dce, const Arguments& arguments, const std::string& greeting = {}) {
  static Plug plug;  // outlives this call, since a signal may arrive until the process is gone
  catchSignals(&plug);
  std::unique_ptr<Line> line;
  if (arguments.listen) {
    line = std::make_unique<TcpLine>(*arguments.listen);
  } else {
    line = std::make_unique<PtyLine>(arguments.link, arguments.isRenumbered);
  }
  const auto announceLine = [&] { announce(*line, arguments.link); };
  announceLine();
  standardOutput().write(greeting);
  run(dce, *line, program::stopDescriptor(), {announceLine, &plug});
}

int serve(const Arguments& arguments) {
  Modem modem(arguments.modem);
  std::optional<MessageLog> log;
  if (!arguments.messagesFile.empty()) {
    log.emplace(arguments.messagesFile);
  }
  modem.onMessage([&log](const Message& message) {
    // First the file, then the screen, then the modem's answer: what a client was told is in the file.
    if (log && message.reference) {
      log->append(message, std::time(nullptr));
    }
    showMessage(message);
  });
  if (arguments.verbose) {
    modem.onTrace(showDialogue);
  }
  runOnLine(modem, arguments, "commands: " + knownCommands() + "\n");
  return 0;
}

Recording recordingIn(const std::string& path) {
  try {
    std::istringstream file(contentOf(path));
    return readRecording(file);
  } catch (const std::runtime_error& error) {
    throw CLI::ValidationError(path, error.what());
  }
}

int play(const Arguments& arguments) {
  Replay replay(recordingIn(arguments.replayFile));
  runOnLine(replay, arguments);
  // A client that left the recording hears where, one that was stopped in the middle what was still to come.
  if (replay.mismatch()) {
    return complain(arguments.replayFile + ": " + *replay.mismatch(), kFailure);
  }
  return replay.isOver() ? 0 : complain(arguments.replayFile + ": ended before " + replay.expected(), kFailure);
}

int mainProgram(int argc, char** argv) {
  program::openStandardStreams();
  Arguments arguments;
  CLI::App app("A GSM modem on a pseudo-terminal or on the network, for developing without hardware.", kProgram);
  describe(app, &arguments);
  try {
    app.parse(argc, argv);
    check(app, arguments);
    return arguments.replayFile.empty() ? serve(arguments) : play(arguments);
  } catch (const CLI::Success& request) {
    return app.exit(request);
  } catch (const CLI::ParseError& error) {
    return complain(error.what(), kUsageError);
  } catch (const std::exception& error) {
    return complain(error.what(), kFailure);
  }
}

}  // namespace
}  // namespace orvix::simulator

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for its options the program may end as it likes
int main(int argc, char** argv) {
  return orvix::simulator::mainProgram(argc, argv);
}
