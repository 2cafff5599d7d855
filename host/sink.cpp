#include "host/sink.h"

#include <ctime>
#include <iostream>
#include <utility>

#include "common/isoTime.h"
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

void printJsonLine(const std::string& kind, const std::string& fields) {
  std::cout << R"({"at": )" << program::jsonString(isoTime(std::time(nullptr))) << R"(, "kind": ")" << kind << R"(", )"
            << fields << "}" << std::endl;
}

void Sink::OnEvent(IDevice* /*device*/, const std::string& name, const BSONObject& document) {
  if (telling == Telling::kText) {
    std::cout << program::dim(std::cout, program::timeOfDay()) << "  event   " << name << " " << document.toJSON()
              << std::endl;
  } else if (telling == Telling::kJsonLines) {
    printJsonLine("event", R"("name": )" + program::jsonString(name) + R"(, "document": )" + document.toJSON());
  }
}

void Sink::OnDataReport(IDevice* /*device*/, IDeviceDataReport* /*report*/) {
  changed = true;
}

void Sink::OnStatusChanged(IDevice* /*device*/, DeviceStatus status) {
  if (telling == Telling::kText) {
    std::cout << program::dim(std::cout, program::timeOfDay()) << "  status  " << statusWord(status) << std::endl;
  } else if (telling == Telling::kJsonLines) {
    printJsonLine("status", R"("status": ")" + std::string(statusWord(status)) + R"(")");
  }
}

bool Sink::takeChanged() {
  return std::exchange(changed, false);
}

}  // namespace orvix::host
