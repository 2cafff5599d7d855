// Shows a line's traffic on standard error. One thread.
#pragma once

#include "plugin/device.h"

namespace orvix::host {

// Given to a device when it is created; prints, when enabled, one line for each piece of traffic: local time, direction
// (">" to the modem, "<" from it) and the text with control characters escaped, or the modem lines that are on.
class TracePrinter : public ITraceProvider {
 public:
  explicit TracePrinter(bool isEnabled) : enabled(isEnabled) {}

  bool IsTraceEnabled() override { return enabled; }
  void* GetTraceContext() override { return this; }
  XplTraceCallback GetTraceCallback() override;

 private:
  bool enabled;
};

}  // namespace orvix::host
