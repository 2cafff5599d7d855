#include "simulator/arguments.h"

#include <charconv>
#include <fstream>
#include <sstream>

#include "simulator/commands.h"
#include "simulator/scenario.h"

namespace orvix::simulator {
namespace {

// Headings of --help.
constexpr char kLineGroup[] = "The line";
constexpr char kModemGroup[] = "The modem";
// What a recording decides by itself.
constexpr const char* kModemOptions[] = {"--scenario", "--signal",       "--registration", "--sim",     "--sms",
                                         "--delay",    "--prompt-delay", "--result-delay", "--no-echo", "--messages"};

// None unless the text is a decimal number from 0 to the largest.
std::optional<int> numberIn(const std::string& text, int largest) {
  int number = 0;
  // from_chars, for it takes no blanks and asks no locale.
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < 0 || number > largest) {
    return std::nullopt;
  }
  return number;
}

void setSignal(const std::string& text, ModemOptions* options) {
  const std::optional<int> rssi = numberIn(text, kUnknownRssi);
  if (!rssi || !isRssi(*rssi)) {
    throw CLI::ValidationError("--signal", "must be 0 to 31, or 99");
  }
  options->rssi = *rssi;
}

// A word, or the number of an error that refuses every message.
void setSmsOutcome(const std::string& text, ModemOptions* options) {
  if (const std::optional<SmsOutcome> outcome = smsOutcomeOf(text)) {
    options->smsOutcome = *outcome;
  } else if (const std::optional<int> code = numberIn(text, kMaxErrorCode)) {
    options->smsOutcome = SmsOutcome::kRefused;
    options->smsErrorCode = *code;
  } else {
    throw CLI::ValidationError("--sms", "must be ok, silent, no-prompt or an error code from 0 to 999");
  }
}

void setSim(const std::string& text, ModemOptions* options) {
  const std::optional<SimState> state = simStateOf(text);
  if (!state) {
    throw CLI::ValidationError("--sim", "must be ready, missing or locked");
  }
  options->sim = *state;
}

// Replaces all options, since a file says everything about its modem: see describeModem for the order.
void setScenario(const std::string& path, ModemOptions* options) {
  try {
    *options = scenarioOf(contentOf(path));
  } catch (const std::runtime_error& error) {
    throw CLI::ValidationError(path, error.what());
  }
}

void setListen(const std::string& text, std::optional<TcpAddress>* listen) {
  try {
    listen->emplace(text);
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError("--listen", error.what());
  }
}

void describeLine(CLI::App& app, Arguments* arguments) {
  app.add_option("--link", arguments->link, "Make PATH a symbolic link to the line; it is removed at the end")
      ->type_name("PATH")
      ->group(kLineGroup);
  app.add_flag("--renumber", arguments->isRenumbered, "After an unplug, come back as a terminal with another number")
      ->group(kLineGroup);
  auto* const listen = app.add_option_function<std::string>(
                              "--listen", [arguments](const std::string& text) { setListen(text, &arguments->listen); },
                              "Serve one client at a time over TCP instead of a pseudo-terminal;\n"
                              "without an address on 127.0.0.1, port 0 picks one")
                           ->type_name("[ADDRESS:]PORT")
                           ->group(kLineGroup);
  app.add_flag("--allow-remote", arguments->allowRemote, "Let --listen take an address that other machines can reach")
      ->needs(listen)
      ->group(kLineGroup);
}

// An empty description of the range, or CLI11 would write it after each option.
void describeDelay(CLI::App& app, const char* name, std::int64_t* delayMs, const char* description) {
  app.add_option(name, *delayMs, description)
      ->type_name("MS")
      ->check(CLI::Range(0, kMaxDelayMs).description(""))
      ->capture_default_str();
}

// Options are applied in the order of this list, so that those after --scenario overrule the file.
void describeModem(CLI::App& app, Arguments* arguments) {
  ModemOptions* const modem = &arguments->modem;
  const auto add = [&app](const char* name, const auto& set, const char* description) {
    return app.add_option_function<std::string>(name, set, description);
  };
  add(
      "--scenario", [modem](const std::string& path) { setScenario(path, modem); },
      "Take the modem and its faults from FILE; the options below overrule it")
      ->type_name("FILE");
  add(
      "--signal", [modem](const std::string& text) { setSignal(text, modem); },
      "Signal strength that AT+CSQ reports: 0 to 31 (default 17), or 99 for unknown")
      ->type_name("N");
  app.add_option("--registration", modem->registration,
                 "Registration that AT+CREG? reports: 0 none, 1 home, 2 searching,\n3 denied, 4 unknown, 5 roaming")
      ->type_name("N")
      ->check(CLI::Range(0, kMaxRegistration).description(""))
      ->capture_default_str();
  add(
      "--sim", [modem](const std::string& text) { setSim(text, modem); },
      "SIM card: ready (default), missing (+CME ERROR: 10) or locked (11)")
      ->type_name("STATE");
  add(
      "--sms", [modem](const std::string& text) { setSmsOutcome(text, modem); },
      "Fate of a message: ok (default), silent (no answer after the text),\n"
      "no-prompt (no answer to AT+CMGS), or the code of a +CMS ERROR")
      ->type_name("OUTCOME");
  describeDelay(app, "--delay", &modem->replyDelayMs, "Milliseconds before each reply");
  describeDelay(app, "--prompt-delay", &modem->promptDelayMs, "More milliseconds before the prompt for a text");
  describeDelay(app, "--result-delay", &modem->resultDelayMs, "More milliseconds before the result of a message");
  app.add_flag_callback(
      "--no-echo", [modem] { modem->echo = false; }, "Begin with command echo off, as after ATE0");
  app.add_option("--messages", arguments->messagesFile,
                 "Append every message that is sent to FILE, one line of JSON each")
      ->type_name("FILE");
  // Grouped at the end, since the order above is that of their effect.
  for (const char* name : kModemOptions) {
    app.get_option(name)->group(kModemGroup);
  }
}

void describeRest(CLI::App& app, Arguments* arguments) {
  app.add_option("--replay", arguments->replayFile,
                 "Play the modem's side of the recording in FILE once; the options of the modem\n"
                 "cannot be combined with it")
      ->type_name("FILE")
      ->group("A recording instead");
  app.add_flag("-v,--verbose", arguments->verbose, "Show the dialogue of the modem on standard error");
  app.set_version_flag("--version", "gsm-modem-simulator " ORVIX_VERSION);
  app.footer(
      "The first line of output names the line, for example \"modem on /dev/pts/5\", with --link followed by\n"
      "\" linked from PATH\", or \"modem on 127.0.0.1:4000\". Every message is shown with its number and text.\n"
      "Ctrl-C ends the modem; SIGUSR1 unplugs its line, SIGUSR2 plugs it in again.\n"
      "It understands the commands\n" +
      knownCommands() + ".\nAny other one answers ERROR.");
}

void refuseTogether(const CLI::App& app, const std::string& one, const std::string& other) {
  if (app.count(one) != 0 && app.count(other) != 0) {
    throw CLI::ValidationError(one, "has no place beside " + other);
  }
}

}  // namespace

void describe(CLI::App& app, Arguments* arguments) {
  describeLine(app, arguments);
  describeModem(app, arguments);
  describeRest(app, arguments);
}

void check(const CLI::App& app, const Arguments& arguments) {
  refuseTogether(app, "--link", "--listen");
  refuseTogether(app, "--renumber", "--listen");
  for (const char* name : kModemOptions) {
    refuseTogether(app, name, "--replay");
  }
  // There is no password: on a network that others share, a person has to wish for that.
  if (arguments.listen && !arguments.listen->isLoopback() && !arguments.allowRemote) {
    throw CLI::ValidationError("--listen", arguments.listen->text() +
                                               " can be reached from other machines, and whoever connects is served; "
                                               "say --allow-remote if that is meant");
  }
}

// Breaks between names only, so that a command can be found and copied from the help.
std::string knownCommands() {
  constexpr std::size_t kWidth = 100;
  std::string text;
  std::size_t lineBegin = 0;
  for (const std::string& name : commandNames()) {
    text += text.empty() ? "" : ",";
    if (text.size() + name.size() - lineBegin > kWidth) {
      text += "\n";
      lineBegin = text.size();
    } else if (!text.empty()) {
      text += " ";
    }
    text += name;
  }
  return text;
}

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  if (!file || !content) {
    throw std::runtime_error("cannot be read");
  }
  return content.str();
}

}  // namespace orvix::simulator
