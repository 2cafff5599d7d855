#include "host/reportView.h"

#include <ostream>

#include "program/terminal.h"

namespace orvix::host {
namespace {

constexpr char kReport[] = "GSMModem.report";

std::string signalBar(int percent) {
  constexpr int kCells = 10;
  const int filled = percent > 0 ? (percent * kCells + 50) / 100 : 0;
  return "[" + std::string(static_cast<std::size_t>(filled), '#') +
         std::string(static_cast<std::size_t>(kCells - filled), '.') + "]";
}

}  // namespace

std::string signalText(const BSONObject& document) {
  const BSONObject signal = document.getObject(std::string(kReport) + ".signalQuality", false);
  if (!signal.getBool("valid", false)) {
    return signalBar(0) + "  unknown";
  }
  const int percent = signal.getInt32("percent", 0);
  return signalBar(percent) + "  " + std::to_string(signal.getInt32("dBm", 0)) + " dBm, " + std::to_string(percent) +
         " %";
}

std::string registrationText(const BSONObject& document) {
  return document.getString(std::string(kReport) + ".NetworkRegistration.status", "unknown");
}

void printReport(std::ostream& out, const BSONObject& document) {
  const std::string registration = registrationText(document);
  const bool isRegistered = registration == "home" || registration == "roaming";
  out << "  Signal        " << program::bold(out, signalText(document)) << "\n"
      << "  Registration  " << (isRegistered ? program::green(out, registration) : program::yellow(out, registration))
      << "\n"
      << "  Measured      " << document.getString(std::string(kReport) + ".time", "") << std::endl;
}

}  // namespace orvix::host
