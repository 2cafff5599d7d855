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

std::string shownSignal(const BSONObject& report) {
  const BSONObject signal = report.getObject(std::string(kReport) + ".signalQuality", false);
  if (!hasSignal(report)) {
    return signalBar(0) + "  unknown";
  }
  const int percent = signal.getInt32("percent", 0);
  return signalBar(percent) + "  " + std::to_string(signal.getInt32("dBm", 0)) + " dBm, " + std::to_string(percent) +
         " %";
}

std::string shownRegistration(const BSONObject& report) {
  return report.getString(std::string(kReport) + ".NetworkRegistration.status", "unknown");
}

bool isRegistered(const BSONObject& report) {
  const std::string registration = shownRegistration(report);
  return registration == "home" || registration == "roaming";
}

bool hasSignal(const BSONObject& report) {
  return report.getBool(std::string(kReport) + ".signalQuality.valid", false);
}

void printReport(std::ostream& out, const BSONObject& report) {
  const std::string registration = shownRegistration(report);
  out << "  Signal        " << program::bold(out, shownSignal(report)) << "\n"
      << "  Registration  "
      << (isRegistered(report) ? program::green(out, registration) : program::yellow(out, registration)) << "\n"
      << "  Measured      " << report.getString(std::string(kReport) + ".time", "") << std::endl;
}

}  // namespace orvix::host
