// The commands of ITU-T V.250 and 3GPP TS 27.007: the modem itself, its SIM card and the network.

#include <algorithm>
#include <iterator>

#include "simulator/commandTable.h"

namespace orvix::simulator {
namespace {

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

Answer restoreSettings(const Request& request) {
  if (!request.argument.empty()) {
    return error();
  }
  request.settings = Settings{};
  request.settings.echo = request.options.echo;
  return ok();
}

Answer fixedText(const Request& request, std::string_view text) {
  if (request.argument.empty()) {
    return information(text);
  }
  return request.argument == "=?" ? ok() : error();
}

Answer signalQuality(const Request& request) {
  if (request.argument == "=?") {
    return labelled(request, "(0-31,99),(99)");
  }
  return request.argument.empty() ? labelled(request, std::to_string(request.options.rssi) + ",99") : error();
}

Answer simCard(const Request& request) {
  return request.argument == "?" ? labelled(request, "READY") : error();
}

// The values of <stat> with which a modem knows its cell: home and roaming, on any kind of network.
bool isRegistered(int registration) {
  constexpr int kRegistered[] = {1, 5, 6, 7, 9, 10};
  return std::find(std::begin(kRegistered), std::end(kRegistered), registration) != std::end(kRegistered);
}

// Always switched on.
Answer functionality(const Request& request) {
  if (request.argument == "?") {
    return labelled(request, "1");
  }
  if (request.argument == "=?") {
    return labelled(request, "(1),(0)");
  }
  return request.argument == "=1" || request.argument == "=1,0" ? ok() : incorrectParameters(request.settings);
}

Answer networkOperator(const Request& request) {
  if (request.argument != "?") {
    return error();
  }
  return labelled(request, isRegistered(request.options.registration) ? "0,0,\"Orvix\"" : "0");
}

Answer registration(const Request& request) {
  return numberSetting(request, &Settings::registrationReport, 2,
                       "," + registrationText(request.options, request.settings));
}

// Texts pass through the modem as they are, so the sets that it offers differ by name alone.
Answer characterSet(const Request& request) {
  const bool isListed = request.argument == "=\"IRA\"" || request.argument == "=\"GSM\"";
  if (!isListed && request.argument != "?" && request.argument != "=?") {
    return incorrectParameters(request.settings);
  }
  return storedSetting(request, &Settings::characterSet, "(\"IRA\",\"GSM\")");
}

}  // namespace

std::string registrationText(const ModemOptions& options, const Settings& settings) {
  const bool isLocated = settings.registrationReport == 2 && isRegistered(options.registration);
  return std::to_string(options.registration) + (isLocated ? ",\"01A5\",\"3F21\"" : "");
}

const std::vector<Command>& generalCommands() {
  static const std::vector<Command> kCommands = {
      {"", attention},
      {"E", echoOff},
      {"E0", echoOff},
      {"E1", [](const Request& request) { return setEcho(request, true); }},
      {"I", [](const Request& request) { return fixedText(request, "Orvix development modem"); }},
      {"Z", restoreSettings},
      {"Z0", restoreSettings},
      {"&F", restoreSettings},
      {"+CGMI", [](const Request& request) { return fixedText(request, "Orvix"); }},
      {"+CGMM", [](const Request& request) { return fixedText(request, "development modem"); }},
      {"+CGMR", [](const Request& request) { return fixedText(request, "1"); }},
      {"+CGSN", [](const Request& request) { return fixedText(request, "001010123456780"); }},
      {"+CIMI", [](const Request& request) { return fixedText(request, "001010123456789"); }},
      {"+CMEE", [](const Request& request) { return numberSetting(request, &Settings::errorReport, 2); }},
      {"+CFUN", functionality},
      {"+CPIN", simCard},
      {"+COPS", networkOperator},
      {"+CREG", registration},
      {"+CSCS", characterSet},
      {"+CSQ", signalQuality},
  };
  return kCommands;
}

}  // namespace orvix::simulator
