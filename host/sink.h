// The host's ear: says on standard output what a device tells of its own accord. One thread.
#pragma once

#include <string>

#include "plugin/device.h"

namespace orvix::host {

// How much of what a device tells is shown, and how.
enum class Telling { kText, kJsonLines, kNothing };

// The word for a status that a person reads.
const char* statusWord(DeviceStatus status);

// Prints one JSON document a line: {"at": TIME, "kind": KIND, FIELDS}; `fields` is JSON text.
void printJsonLine(const std::string& kind, const std::string& fields);

class Sink final : public IDeviceEventSink {
 public:
  explicit Sink(Telling how) : telling(how) {}

  void OnEvent(IDevice* device, const std::string& name, const BSONObject& document) override;
  void OnDataReport(IDevice* device, IDeviceDataReport* report) override;
  void Reserved() override {}
  void OnStatusChanged(IDevice* device, DeviceStatus status) override;

  // Whether a new report was announced since the last call.
  bool takeChanged();

 private:
  Telling telling;
  bool changed = false;
};

}  // namespace orvix::host
