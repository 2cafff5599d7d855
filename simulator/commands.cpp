#include "simulator/commands.h"

#include "simulator/commandTable.h"

#include <algorithm>
#include <iterator>

namespace orvix::simulator {
namespace {

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

Answer simCard(const Request& request) {
  return request.argument == "?" ? information("+CPIN: READY") : error();
}

std::string noDetails(const Request&) {
  return {};
}

// The values of <stat> with which a modem knows its cell: home and roaming, on any kind of network.
bool isRegistered(int registration) {
  constexpr int kRegistered[] = {1, 5, 6, 7, 9, 10};
  return std::find(std::begin(kRegistered), std::end(kRegistered), registration) != std::end(kRegistered);
}

// <stat>, with the location where it is known and asked for.
std::string registrationText(const ModemOptions& options, const Settings& settings) {
  const bool located = settings.registrationReport == 2 && isRegistered(options.registration);
  return std::to_string(options.registration) + (located ? ",\"01A5\",\"3F21\"" : "");
}

std::string registrationDetails(const Request& request) {
  return "," + registrationText(request.options, request.settings);
}

// Always switched on.
Answer functionality(const Request& request) {
  if (request.argument == "?") {
    return information("+CFUN: 1");
  }
  if (request.argument == "=?") {
    return information("+CFUN: (1),(0)");
  }
  return request.argument == "=1" || request.argument == "=1,0" ? ok() : incorrectParameters(request.settings);
}

Answer networkOperator(const Request& request) {
  if (request.argument != "?") {
    return error();
  }
  return information(isRegistered(request.options.registration) ? "+COPS: 0,0,\"Orvix\"" : "+COPS: 0");
}

// Texts pass through the modem as they are, so the sets that it offers differ by name alone.
Answer characterSet(const Request& request) {
  const bool isListed = request.argument == "=\"IRA\"" || request.argument == "=\"GSM\"";
  if (!isListed && request.argument != "?" && request.argument != "=?") {
    return incorrectParameters(request.settings);
  }
  return answerStored(request, "+CSCS: ", request.settings.characterSet, "(\"IRA\",\"GSM\")");
}

constexpr Command kCommands[] = {
    {"", attention},          {"E", echoOff},
    {"E0", echoOff},          {"E1", echoOn},
    {"Z", restoreSettings},   {"Z0", restoreSettings},
    {"&F", restoreSettings},  {"+CPIN", simCard},
    {"+CFUN", functionality}, {"+COPS", networkOperator},
    {"+CSQ", signalQuality},  {"+CSCS", characterSet},
};

constexpr FixedText kFixedTexts[] = {
    {"I", "Orvix development modem"}, {"+CGMI", "Orvix"},           {"+CGMM", "development modem"}, {"+CGMR", "1"},
    {"+CGSN", "001010123456780"},     {"+CIMI", "001010123456789"},
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

std::string upperCase(std::string_view text) {
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

Answer answerStored(const Request& request, std::string_view label, std::string& value, std::string_view range) {
  constexpr std::string_view kAllowed = "0123456789,\"+*#ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  if (request.argument == "?") {
    return information(std::string(label) + value);
  }
  if (request.argument == "=?") {
    return information(std::string(label) + std::string(range));
  }
  if (request.argument.size() < 2 || request.argument.find_first_not_of(kAllowed, 1) != std::string_view::npos) {
    return incorrectParameters(request.settings);
  }
  value = request.argument.substr(1);
  return ok();
}

std::string errorReply() {
  return framed("ERROR");
}

std::string smsErrorReply(int code) {
  return framed("+CMS ERROR: " + std::to_string(code));
}

std::string smsAcceptedReply(int reference) {
  return information("+CMGS: " + std::to_string(reference)).reply;
}

std::string registrationChange(const ModemOptions& options, const Settings& settings) {
  return settings.registrationReport == 0 ? "" : framed("+CREG: " + registrationText(options, settings));
}

bool beginsWithAt(std::string_view line) {
  return upperCase(line.substr(0, 2)) == "AT";
}

Answer answerCommand(std::string_view line, const ModemOptions& options, Settings& settings) {
  const std::string_view body = line.substr(2);
  const std::string name = upperCase(body.substr(0, body.find_first_of("=?")));
  const Request request{body.substr(name.size()), options, settings};
  for (const Command& row : kCommands) {
    if (row.name == name) {
      return row.execute(request);
    }
  }
  if (const Command* command = findMessageCommand(name)) {
    return command->execute(request);
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
