#include "host/reportView.h"

#include <ostream>

#include "plugin/names.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

std::string signalBar(int percent) {
  // 0 stands for unknown: an empty bar.
  constexpr int kCells = 10;
  // Rounded to the nearest cell.
  const int filled = percent > 0 ? (percent * kCells + 50) / 100 : 0;
  return "[" + std::string(static_cast<std::size_t>(filled), '#') +
         std::string(static_cast<std::size_t>(kCells - filled), '.') + "]";
}

}  // namespace

std::string shownSignal(const BSONObject& report) {
  if (!hasSignal(report)) {
    return signalBar(0) + "  unknown";
  }
  const int percent = report.getInt32(names::kSignalPercent, 0);
  return signalBar(percent) + "  " + std::to_string(report.getInt32(names::kSignalDbm, 0)) + " dBm, " +
         std::to_string(percent) + " %";
}

std::string shownRegistration(const BSONObject& report) {
  return report.getString(names::kRegistrationStatus, "unknown");
}

bool isRegistered(const BSONObject& report) {
  const std::string registration = shownRegistration(report);
  return registration == "home" || registration == "roaming";
}

bool hasSignal(const BSONObject& report) {
  return report.getBool(names::kSignalValid, false);
}

void printReport(std::ostream& out, const BSONObject& report) {
  const std::string registration = shownRegistration(report);
  out << "  Signal        " << program::bold(out, shownSignal(report)) << "\n"
      << "  Registration  "
      << (isRegistered(report) ? program::green(out, registration) : program::yellow(out, registration)) << "\n"
      << "  Measured      " << report.getString(names::kReportTime, "") << std::endl;
}

}  // namespace orvix::host
