// gsm-modem-simulator: a GSM modem on a pseudo-terminal or on the network, for developing without hardware.

#include <csignal>
#include <ctime>
#include <iostream>
#include <memory>
#include <sstream>

#include "common/printable.h"
#include "simulator/arguments.h"
#include "simulator/messageLog.h"
#include "simulator/modem.h"
#include "simulator/ptyLine.h"
#include "simulator/replay.h"
#include "simulator/runLoop.h"

namespace orvix::simulator {
namespace {

constexpr char kProgram[] = "gsm-modem-simulator";
constexpr int kFailure = 1;
constexpr int kUsageError = 2;

const StopEvent* signalledStop = nullptr;

void requestStop(int) {
  signalledStop->request();
}

// A reader of our output that goes away must not end us either: the link would stay behind.
void stopOnSignals(const StopEvent& stop) {
  signalledStop = &stop;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    std::signal(signal, requestStop);
  }
  std::signal(SIGPIPE, SIG_IGN);
}

void showMessage(const Message& message) {
  std::cout << "\nSMS to " << escaped(message.destination) << "\n  " << escaped(message.text) << std::endl;
}

void showDialogue(Direction direction, std::string_view bytes) {
  std::cerr << (direction == Direction::kToModem ? "-> " : "<- ") << escaped(bytes) << std::endl;
}

void announce(const Line& line, const std::string& link) {
  std::cout << "modem on " << line.name();
  if (!link.empty()) {
    std::cout << " linked from " << escaped(link);
  }
  std::cout << std::endl;
}

int complain(const std::string& complaint, int exitCode) {
  std::cerr << kProgram << ": " << complaint << std::endl;
  return exitCode;
}

void runOnLine(Dce& dce, const Arguments& arguments) {
  static const StopEvent stop;  // outlives this call, since a signal may arrive until the process is gone
  stopOnSignals(stop);
  std::unique_ptr<Line> line;
  if (arguments.listen) {
    line = std::make_unique<TcpLine>(*arguments.listen);
  } else {
    line = std::make_unique<PtyLine>(arguments.link);
  }
  const auto announceLine = [&] { announce(*line, arguments.link); };
  announceLine();
  run(dce, *line, stop, announceLine);
}

int serve(const Arguments& arguments) {
  Modem modem(arguments.modem);
  std::optional<MessageLog> log;
  if (!arguments.messagesFile.empty()) {
    log.emplace(arguments.messagesFile);
  }
  modem.onMessage([&log](const Message& message) {
    showMessage(message);
    if (log) {
      log->append(message, std::time(nullptr));
    }
  });
  if (arguments.verbose) {
    modem.onTrace(showDialogue);
  }
  runOnLine(modem, arguments);
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
  if (replay.mismatch()) {
    return complain(arguments.replayFile + ": " + *replay.mismatch(), kFailure);
  }
  return replay.isOver() ? 0 : complain(arguments.replayFile + ": ended before " + replay.expected(), kFailure);
}

int mainProgram(int argc, char** argv) {
  Arguments arguments;
  CLI::App app("A GSM modem on a pseudo-terminal or on the network, for developing without hardware.", kProgram);
  describe(app, arguments);
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
