// The host's ear: says on standard output what a device tells of its own accord. One thread.
#pragma once

#include <string>

#include "plugin/device.h"

namespace orvix::host {

// The word for a status that a person reads.
const char* statusWord(DeviceStatus status);

class Sink : public IDeviceEventSink {
 public:
  void OnEvent(IDevice* device, const std::string& name, const BSONObject& document) override;
  void OnDataReport(IDevice* device, IDeviceDataReport* report) override;
  void Reserved() override {}
  void OnStatusChanged(IDevice* device, DeviceStatus status) override;
};

}  // namespace orvix::host
