#include "host/eventPrinter.h"

#include <iostream>
#include <utility>

#include "common/printable.h"
#include "host/output.h"
#include "program/terminal.h"

namespace orvix::host {

const char* statusWord(DeviceStatus status) {
  switch (status) {
    case DeviceStatus::kNoData:
      return "stopped";
    case DeviceStatus::kInitializing:
      return "initialising";
    case DeviceStatus::kNotAvailable:
      return "not available";
    case DeviceStatus::kError:
      return "error";
    case DeviceStatus::kReady:
      return "ready";
  }
  return "unknown";
}

void EventPrinter::onEvent(const std::string& name, const BSONObject& document) {
  // Names and documents come from the device and may hold what a modem sent: a terminal gets them escaped.
  if (output == EventOutput::kText) {
    std::cout << program::dim(std::cout, program::timeOfDay()) << "  event   " << shown(name) << " "
              << shown(document.toJSON()) << std::endl;
  } else if (output == EventOutput::kJson) {
    printJsonEvent("event", {{"name", name}, {"document", jsonOf(document)}});
  }
}

void EventPrinter::onStatus(DeviceStatus status) {
  if (output == EventOutput::kText) {
    std::cout << program::dim(std::cout, program::timeOfDay()) << "  status  " << statusWord(status) << std::endl;
  } else if (output == EventOutput::kJson) {
    printJsonEvent("status", {{"status", statusWord(status)}});
  }
}

bool EventPrinter::takeChanged() {
  return std::exchange(changed, false);
}

}  // namespace orvix::host
