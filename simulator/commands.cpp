#include "simulator/commands.h"

#include <algorithm>
#include <iterator>

namespace orvix::simulator {
namespace {

constexpr int kOperationNotSupported = 303;  // of +CMS ERROR
constexpr std::size_t kMaxNumberLength = 40;

struct Request {
  std::string_view argument;  // what follows the name: "", "?", "=?" or "=value"
  const ModemOptions& options;
  Settings& settings;
};

struct Command {
  std::string_view name;
  Answer (*execute)(const Request& request);
};

struct FixedText {
  std::string_view name;
  std::string_view text;
};

struct Setting {
  std::string_view name;
  int Settings::*value;
  int largest;
  std::string_view range;
  std::string (*details)(const Request& request);
};

std::string upper(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'a' && c <= 'z') {
      c = static_cast<char>(c - 'a' + 'A');
    }
  }
  return result;
}

std::string framed(std::string_view text) {
  return "\r\n" + std::string(text) + "\r\n";
}

Answer ok() {
  return {framed("OK")};
}

Answer error() {
  return {errorReply()};
}

Answer information(std::string_view text) {
  return {framed(text) + framed("OK")};
}

Answer incorrectParameters(const Settings& settings) {
  switch (settings.errorReport) {
    case 1:
      return {framed("+CME ERROR: 50")};
    case 2:
      return {framed("+CME ERROR: incorrect parameters")};
    default:
      return error();
  }
}

Answer attention(const Request& request) {
  return request.argument.empty() ? ok() : error();
}

Answer setEcho(const Request& request, bool on) {
  if (!request.argument.empty()) {
    return error();
  }
  request.settings.echo = on;
  return ok();
}

Answer echoOff(const Request& request) {
  return setEcho(request, false);
}

Answer echoOn(const Request& request) {
  return setEcho(request, true);
}

Answer restoreSettings(const Request& request) {
  if (!request.argument.empty()) {
    return error();
  }
  request.settings = Settings{};
  request.settings.echo = request.options.echo;
  return ok();
}

Answer signalQuality(const Request& request) {
  if (request.argument == "=?") {
    return information("+CSQ: (0-31,99),(99)");
  }
  if (!request.argument.empty()) {
    return error();
  }
  return information("+CSQ: " + std::to_string(request.options.rssi) + ",99");
}

bool isNumber(std::string_view text) {
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
  }
  return !text.empty() && text.size() <= kMaxNumberLength &&
         text.find_first_not_of("0123456789*#") == std::string_view::npos;
}

// Of ="number" and ="number",type; empty when malformed.
std::string_view quotedNumber(std::string_view argument) {
  if (argument.substr(0, 2) != "=\"") {
    return {};
  }
  argument.remove_prefix(2);
  const std::size_t end = argument.find('"');
  if (end == std::string_view::npos) {
    return {};
  }
  const std::string_view type = argument.substr(end + 1);
  if (type != "" && type != ",129" && type != ",145") {
    return {};
  }
  const std::string_view number = argument.substr(0, end);
  return isNumber(number) ? number : std::string_view{};
}

Answer sendMessage(const Request& request) {
  if (request.argument == "=?") {
    return ok();
  }
  if (request.settings.messageFormat == 0) {
    return {smsErrorReply(kOperationNotSupported)};
  }
  const std::string_view number = quotedNumber(request.argument);
  if (number.empty()) {
    return error();
  }
  return {"\r\n> ", std::string(number)};
}

std::string noDetails(const Request&) {
  return {};
}

// The values of <stat> with which a modem knows its cell: home and roaming, on any kind of network.
bool isRegistered(int registration) {
  constexpr int kRegistered[] = {1, 5, 6, 7, 9, 10};
  return std::find(std::begin(kRegistered), std::end(kRegistered), registration) != std::end(kRegistered);
}

std::string registrationDetails(const Request& request) {
  const int registration = request.options.registration;
  const bool located = request.settings.registrationReport == 2 && isRegistered(registration);
  return "," + std::to_string(registration) + (located ? ",\"01A5\",\"3F21\"" : "");
}

constexpr Command kCommands[] = {
    {"", attention},         {"E", echoOff},          {"E0", echoOff},
    {"E1", echoOn},          {"Z", restoreSettings},  {"Z0", restoreSettings},
    {"&F", restoreSettings}, {"+CSQ", signalQuality}, {"+CMGS", sendMessage},
};

constexpr FixedText kFixedTexts[] = {
    {"I", "Orvix development modem"}, {"+CGMI", "Orvix"}, {"+CGMM", "development modem"}, {"+CGMR", "1"},
    {"+CGSN", "001010123456780"},
};

constexpr Setting kSettings[] = {
    {"+CMGF", &Settings::messageFormat, 1, "(0,1)", noDetails},
    {"+CREG", &Settings::registrationReport, 2, "(0-2)", registrationDetails},
    {"+CMEE", &Settings::errorReport, 2, "(0-2)", noDetails},
};

Answer answerFixedText(const FixedText& row, const Request& request) {
  if (request.argument.empty()) {
    return information(row.text);
  }
  return request.argument == "=?" ? ok() : error();
}

Answer answerSetting(const Setting& row, const Request& request) {
  const std::string label = std::string(row.name) + ": ";
  int& value = request.settings.*row.value;
  if (request.argument == "?") {
    return information(label + std::to_string(value) + row.details(request));
  }
  if (request.argument == "=?") {
    return information(label + std::string(row.range));
  }
  if (request.argument.size() < 2) {
    return error();
  }
  const int wanted = request.argument[1] - '0';
  if (request.argument.size() > 2 || wanted < 0 || wanted > row.largest) {
    return incorrectParameters(request.settings);
  }
  value = wanted;
  return ok();
}

}  // namespace

std::string errorReply() {
  return framed("ERROR");
}

std::string smsErrorReply(int code) {
  return framed("+CMS ERROR: " + std::to_string(code));
}

std::string smsAcceptedReply(int reference) {
  return information("+CMGS: " + std::to_string(reference)).reply;
}

bool beginsWithAt(std::string_view line) {
  return upper(line.substr(0, 2)) == "AT";
}

Answer answerCommand(std::string_view line, const ModemOptions& options, Settings& settings) {
  const std::string_view command = line.substr(2);
  const std::string name = upper(command.substr(0, command.find_first_of("=?")));
  const Request request{command.substr(name.size()), options, settings};
  for (const Command& row : kCommands) {
    if (row.name == name) {
      return row.execute(request);
    }
  }
  for (const FixedText& row : kFixedTexts) {
    if (row.name == name) {
      return answerFixedText(row, request);
    }
  }
  for (const Setting& row : kSettings) {
    if (row.name == name) {
      return answerSetting(row, request);
    }
  }
  return error();
}

}  // namespace orvix::simulator
