// gsm-modem-simulator: a GSM modem on a pseudo-terminal, for developing without hardware.

#include "simulator/modem.h"
#include "simulator/printable.h"
#include "simulator/ptyLine.h"
#include "simulator/runLoop.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <csignal>
#include <iostream>
#include <optional>

namespace orvix::simulator {
namespace {

constexpr char kProgram[] = "gsm-modem-simulator";
constexpr int kFailure = 1;
constexpr int kUsageError = 2;
constexpr int kMaxDelayMs = 3600000;
constexpr int kMaxErrorCode = 999;
constexpr int kMaxRssi = 31;
constexpr int kUnknownRssi = 99;

struct Arguments {
  ModemOptions modem;
  std::string link;
  bool verbose = false;
};

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

// None unless the text is a decimal number from 0 to the largest.
std::optional<int> numberIn(const std::string& text, int largest) {
  int number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < 0 || number > largest) {
    return std::nullopt;
  }
  return number;
}

void setSignal(const std::string& text, ModemOptions& options) {
  const std::optional<int> rssi = numberIn(text, kUnknownRssi);
  if (!rssi || (*rssi > kMaxRssi && *rssi != kUnknownRssi)) {
    throw CLI::ValidationError("--signal", "must be 0 to 31, or 99");
  }
  options.rssi = *rssi;
}

void setSmsOutcome(const std::string& text, ModemOptions& options) {
  if (text == "ok") {
    options.smsOutcome = SmsOutcome::accepted;
  } else if (text == "silent") {
    options.smsOutcome = SmsOutcome::silent;
  } else if (text == "no-prompt") {
    options.smsOutcome = SmsOutcome::noPrompt;
  } else if (const std::optional<int> code = numberIn(text, kMaxErrorCode)) {
    options.smsOutcome = SmsOutcome::refused;
    options.smsErrorCode = *code;
  } else {
    throw CLI::ValidationError("--sms", "must be ok, silent, no-prompt or an error code from 0 to 999");
  }
}

void describe(CLI::App& app, Arguments& arguments) {
  ModemOptions& modem = arguments.modem;
  app.name(kProgram);
  app.add_option("--link", arguments.link, "Make PATH a symbolic link to the line; it is removed at the end")
      ->type_name("PATH");
  app.add_option_function<std::string>(
         "--signal", [&modem](const std::string& text) { setSignal(text, modem); },
         "Signal strength that AT+CSQ reports: 0 to 31 (default 17), or 99 for unknown")
      ->type_name("N");
  app.add_option("--registration", modem.registration,
                 "Registration that AT+CREG? reports: 0 none, 1 home, 2 searching, 3 denied, 4 unknown, 5 roaming")
      ->type_name("N")
      ->check(CLI::Range(0, 99).description(""))
      ->capture_default_str();
  app.add_option_function<std::string>(
         "--sms", [&modem](const std::string& text) { setSmsOutcome(text, modem); },
         "Fate of a message: ok (default), silent (no answer after the text), no-prompt (no answer to AT+CMGS), "
         "or the code of a +CMS ERROR")
      ->type_name("OUTCOME");
  app.add_option("--delay", modem.replyDelayMs, "Milliseconds before each reply")
      ->type_name("MS")
      ->check(CLI::Range(0, kMaxDelayMs).description(""))
      ->capture_default_str();
  app.add_flag_callback(
      "--no-echo", [&modem] { modem.echo = false; }, "Begin with command echo off, as after ATE0");
  app.add_flag("-v,--verbose", arguments.verbose, "Show the dialogue on standard error");
  app.footer(
      "The first line of output names the line, for example \"modem on /dev/pts/5\", with --link followed by\n"
      "\" linked from PATH\". Every message sent is shown with its number and text. Ctrl-C ends the modem.");
}

void showMessage(const Message& message) {
  std::cout << "\nSMS to " << printable(message.destination) << "\n  " << printable(message.text) << std::endl;
}

void showDialogue(Direction direction, std::string_view bytes) {
  std::cerr << (direction == Direction::toModem ? "-> " : "<- ") << printable(bytes) << std::endl;
}

void announce(const PtyLine& line, const std::string& link) {
  std::cout << "modem on " << line.slavePath();
  if (!link.empty()) {
    std::cout << " linked from " << printable(link);
  }
  std::cout << std::endl;
}

void serve(const Arguments& arguments) {
  static const StopEvent stop;  // outlives this call, since a signal may arrive until the process is gone
  stopOnSignals(stop);
  PtyLine line(arguments.link);
  Modem modem(arguments.modem);
  modem.onMessage(showMessage);
  if (arguments.verbose) {
    modem.onTrace(showDialogue);
  }
  announce(line, arguments.link);
  run(modem, line, stop);
}

int complain(const std::exception& error, int exitCode) {
  std::cerr << kProgram << ": " << error.what() << std::endl;
  return exitCode;
}

int mainProgram(int argc, char** argv) {
  Arguments arguments;
  CLI::App app("A GSM modem on a pseudo-terminal, for developing without hardware.");
  describe(app, arguments);
  try {
    app.parse(argc, argv);
    serve(arguments);
    return 0;
  } catch (const CLI::Success& request) {
    return app.exit(request);
  } catch (const CLI::ParseError& error) {
    return complain(error, kUsageError);
  } catch (const std::exception& error) {
    return complain(error, kFailure);
  }
}

}  // namespace
}  // namespace orvix::simulator

int main(int argc, char** argv) {
  return orvix::simulator::mainProgram(argc, argv);
}
