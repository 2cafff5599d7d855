#include "simulator/reply.h"

namespace orvix::simulator {

std::string framed(std::string_view text) {
  return "\r\n" + std::string(text) + "\r\n";
}

Answer ok() {
  return {framed("OK")};
}

Answer error() {
  return {framed("ERROR")};
}

Answer information(std::string_view text) {
  return {framed(text) + framed("OK")};
}

Answer messageError(int code) {
  return {framed("+CMS ERROR: " + std::to_string(code))};
}

Answer simError(SimState sim, const Settings& settings) {
  const bool isMissing = sim == SimState::kMissing;
  // Also at level 0, where the standard would have ERROR: modems tell of a missing card whatever was asked.
  if (settings.errorReport == 2) {
    return {framed(isMissing ? "+CME ERROR: SIM not inserted" : "+CME ERROR: SIM PIN required")};
  }
  return {framed(isMissing ? "+CME ERROR: 10" : "+CME ERROR: 11")};
}

Answer incorrectParameters(const Settings& settings) {
  switch (settings.errorReport) {
    // 3GPP TS 27.007, 9.2.1: 50 is "incorrect parameters".
    case 1:
      return {framed("+CME ERROR: 50")};
    case 2:
      return {framed("+CME ERROR: incorrect parameters")};
    default:
      return error();
  }
}

}  // namespace orvix::simulator
