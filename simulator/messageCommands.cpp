// The commands of 3GPP TS 27.005: short messages.

#include <charconv>

#include "simulator/commandTable.h"

namespace orvix::simulator {
namespace {

// Twice the digits of an address, so that a number that is too long is shown and not lost.
constexpr std::size_t kMaxNumberLength = 40;
// Of an SMS-SUBMIT: 12 of a number, 7 of a validity period, 140 of user data, and 5 octets around them.
constexpr std::size_t kMaxPduOctets = 164;
// What the test forms list: ranges of each parameter.
constexpr char kIndications[] = "(0-2),(0),(0),(0),(0)";
constexpr char kParameters[] = "(1,17),(0-255),(0-255),(0-255)";

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
  // Type of address (3GPP TS 24.011): 129 unknown, 145 international.
  if (!type.empty() && type != ",129" && type != ",145") {
    return {};
  }
  const std::string_view number = argument.substr(0, end);
  return isNumber(number) ? number : std::string_view{};
}

// Of =length; 0 when malformed or longer than a message can be.
std::size_t pduOctets(std::string_view argument) {
  std::size_t octets = 0;
  const char* end = argument.data() + argument.size();
  // After the "=".
  const char* begin = argument.data() + (argument.empty() ? 0 : 1);
  const auto [stop, failure] = std::from_chars(begin, end, octets);
  return failure == std::errc() && stop == end && octets <= kMaxPduOctets ? octets : 0;
}

Answer prompt(Submission submission) {
  return {kPrompt, std::move(submission)};
}

Answer sendMessage(const Request& request) {
  if (request.argument == "=?") {
    return ok();
  }
  // PDU mode gives a length, text mode a number: the same command has two syntaxes (3GPP TS 27.005, 3.5.1 and 4.3).
  if (request.settings->messageFormat == 0) {
    const std::size_t octets = pduOctets(request.argument);
    return octets == 0 ? messageError(kInvalidPduModeParameter) : prompt({MessageMode::kPdu, {}, octets});
  }
  const std::string_view number = quotedNumber(request.argument);
  return number.empty() ? error() : prompt({MessageMode::kText, std::string(number)});
}

Answer serviceCentre(const Request& request) {
  if (request.argument == "=?") {
    return ok();
  }
  if (request.argument != "?" && quotedNumber(request.argument).empty()) {
    return incorrectParameters(*request.settings);
  }
  return storedSetting(request, &Settings::serviceCentre, "");
}

// Sending is supported, receiving and broadcasts are not.
Answer messageService(const Request& request) {
  constexpr const char* kServices = "0,1,0";
  int& service = request.settings->messageService;
  if (request.argument == "=?") {
    return labelled(request, "(0,1)");
  }
  if (request.argument == "?") {
    return labelled(request, std::to_string(service) + "," + kServices);
  }
  if (request.argument != "=0" && request.argument != "=1") {
    return incorrectParameters(*request.settings);
  }
  service = request.argument[1] - '0';
  return labelled(request, kServices);
}

}  // namespace

const std::vector<Command>& messageCommands() {
  static const std::vector<Command> kCommands = {
      {"+CMGF", true, [](const Request& request) { return numberSetting(request, &Settings::messageFormat, 1); }},
      {"+CMGS", true, sendMessage},
      {"+CNMI", true,
       [](const Request& request) { return storedSetting(request, &Settings::indications, kIndications); }},
      {"+CSCA", true, serviceCentre},
      {"+CSMP", true,
       [](const Request& request) { return storedSetting(request, &Settings::textParameters, kParameters); }},
      {"+CSMS", true, messageService},
  };
  return kCommands;
}

}  // namespace orvix::simulator
