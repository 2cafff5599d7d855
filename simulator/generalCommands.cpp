// The commands of ITU-T V.250 and 3GPP TS 27.007: the modem itself, its SIM card and the network.

#include "simulator/commandTable.h"

namespace orvix::simulator {
namespace {

Answer attention(const Request& request) {
  return request.argument.empty() ? ok() : error();
}

// Takes effect with the next byte: the line itself has been echoed by then.
Answer setEcho(const Request& request, bool on) {
  if (!request.argument.empty()) {
    return error();
  }
  request.settings->echo = on;
  return ok();
}

Answer echoOff(const Request& request) {
  return setEcho(request, false);
}

// ATZ and AT&F are one here: nothing is stored in the modem, so its profile is what it was made with.
Answer restoreSettings(const Request& request) {
  if (!request.argument.empty()) {
    return error();
  }
  *request.settings = Settings{};
  request.settings->echo = request.options.echo;
  return ok();
}

// Identification (3GPP TS 27.007, 5): the test form of such a command says OK alone.
Answer fixedText(const Request& request, std::string_view text) {
  if (request.argument.empty()) {
    return information(text);
  }
  return request.argument == "=?" ? ok() : error();
}

Answer signalQuality(const Request& request) {
  if (request.argument == "=?") {
    // The bit error rate is always 99, unknown: it would need a call.
    return labelled(request, "(0-31,99),(99)");
  }
  return request.argument.empty() ? labelled(request, std::to_string(request.options.rssi) + ",99") : error();
}

Answer simCard(const Request& request) {
  if (request.argument != "?") {
    return error();
  }
  switch (request.options.sim) {
    case SimState::kMissing:
      return simError(request.options.sim, *request.settings);
    case SimState::kLocked:
      return labelled(request, "SIM PIN");
    case SimState::kReady:
      break;
  }
  return labelled(request, "READY");
}

// Always switched on.
Answer functionality(const Request& request) {
  if (request.argument == "?") {
    return labelled(request, "1");
  }
  if (request.argument == "=?") {
    return labelled(request, "(1),(0)");
  }
  return request.argument == "=1" || request.argument == "=1,0" ? ok() : incorrectParameters(*request.settings);
}

Answer networkOperator(const Request& request) {
  if (request.argument != "?") {
    return error();
  }
  // Chosen automatically, long alphanumeric name; without a network the mode alone.
  return labelled(request, isRegistered(request.options.registration) ? "0,0,\"Orvix\"" : "0");
}

Answer registration(const Request& request) {
  return numberSetting(request, &Settings::registrationReport, 2,
                       "," + registrationText(request.options, *request.settings));
}

Answer characterSet(const Request& request) {
  const bool isListed = request.argument == "=\"IRA\"" || request.argument == "=\"GSM\"";
  if (!isListed && request.argument != "?" && request.argument != "=?") {
    return incorrectParameters(*request.settings);
  }
  return storedSetting(request, &Settings::characterSet, "(\"IRA\",\"GSM\")");
}

}  // namespace

std::string registrationText(const ModemOptions& options, const Settings& settings) {
  // Location area and cell stand in quotes, hexadecimal, and only where there is a cell.
  const bool isLocated = settings.registrationReport == 2 && isRegistered(options.registration);
  return std::to_string(options.registration) + (isLocated ? ",\"01A5\",\"3F21\"" : "");
}

const std::vector<Command>& generalCommands() {
  static const std::vector<Command> kCommands = {
      {"", false, attention},
      {"E", false, echoOff},
      {"E0", false, echoOff},
      {"E1", false, [](const Request& request) { return setEcho(request, true); }},
      {"I", false, [](const Request& request) { return fixedText(request, "Orvix development modem"); }},
      {"Z", false, restoreSettings},
      {"Z0", false, restoreSettings},
      {"&F", false, restoreSettings},
      {"+CGMI", false, [](const Request& request) { return fixedText(request, "Orvix"); }},
      {"+CGMM", false, [](const Request& request) { return fixedText(request, "development modem"); }},
      {"+CGMR", false, [](const Request& request) { return fixedText(request, "1"); }},
      // Serial numbers of the test network, MCC 001 and MNC 01, so that nobody's own shows up in a log.
      {"+CGSN", false, [](const Request& request) { return fixedText(request, "001010123456780"); }},
      {"+CIMI", true, [](const Request& request) { return fixedText(request, "001010123456789"); }},
      {"+CMEE", false, [](const Request& request) { return numberSetting(request, &Settings::errorReport, 2); }},
      {"+CFUN", false, functionality},
      {"+CPIN", false, simCard},
      {"+COPS", true, networkOperator},
      {"+CREG", true, registration},
      {"+CSCS", false, characterSet},
      {"+CSQ", true, signalQuality},
  };
  return kCommands;
}

}  // namespace orvix::simulator
