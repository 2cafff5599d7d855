#include "host/sink.h"

#include <iostream>

namespace orvix::host {

const char* statusWord(DeviceStatus status) {
  switch (status) {
    case DeviceStatus::kNoData:
      return "stopped";
    case DeviceStatus::kInitializing:
      return "initialising";
    case DeviceStatus::kNotAvailable:
      return "modem not available";
    case DeviceStatus::kError:
      return "error";
    case DeviceStatus::kReady:
      return "ready";
  }
  return "unknown";
}

void Sink::OnEvent(IDevice* /*device*/, const std::string& name, const BSONObject& document) {
  std::cout << "  event   " << name << " " << document.toJSON() << std::endl;
}

void Sink::OnDataReport(IDevice* /*device*/, IDeviceDataReport* /*report*/) {
  std::cout << "  event   new data report" << std::endl;
}

void Sink::OnStatusChanged(IDevice* /*device*/, DeviceStatus status) {
  std::cout << "  status  " << statusWord(status) << std::endl;
}

}  // namespace orvix::host
