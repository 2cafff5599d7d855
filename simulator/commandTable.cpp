#include "simulator/commandTable.h"

namespace orvix::simulator {

Answer labelled(const Request& request, const std::string& text) {
  return information(std::string(request.name) + ": " + text);
}

Answer numberSetting(const Request& request, int Settings::*value, int largest, const std::string& details) {
  int& current = request.settings->*value;
  if (request.argument == "?") {
    return labelled(request, std::to_string(current) + details);
  }
  if (request.argument == "=?") {
    return labelled(request, std::string(largest == 1 ? "(0,1)" : "(0-" + std::to_string(largest) + ")"));
  }
  // Neither "?" nor "=?": what is left is "=value", or nothing that the standard knows.
  if (request.argument.size() < 2) {
    return error();
  }
  // A digit is enough: no setting here goes beyond 9, and anything else falls out of the range below.
  const int wanted = request.argument[1] - '0';
  if (request.argument.size() > 2 || wanted < 0 || wanted > largest) {
    return incorrectParameters(*request.settings);
  }
  current = wanted;
  return ok();
}

Answer storedSetting(const Request& request, std::string Settings::*value, const std::string& range) {
  // What may stand in a list of numbers and quoted texts: what is stored comes back in an answer, byte for byte.
  constexpr std::string_view kAllowed = "0123456789,\"+*#ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  if (request.argument == "?") {
    return labelled(request, request.settings->*value);
  }
  if (request.argument == "=?") {
    return labelled(request, range);
  }
  if (request.argument.size() < 2 || request.argument.find_first_not_of(kAllowed, 1) != std::string_view::npos) {
    return incorrectParameters(*request.settings);
  }
  request.settings->*value = request.argument.substr(1);
  return ok();
}

}  // namespace orvix::simulator
