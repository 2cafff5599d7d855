// A line's traffic as the plug-in traces it, for whoever wants to see it. One thread: listeners run inside device
// calls.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "plugin/device.h"

namespace orvix::host {

// Bytes with CR, LF, backslash and whatever is not printable escaped, as in C.
std::string escaped(std::string_view bytes);
// Two hexadecimal digits a byte.
std::string hexText(std::string_view bytes);
// The modem lines that are on in a status word of two bytes, low byte first: " DTR RTS CTS", or " none on".
std::string linesThatAreOn(std::string_view bytes);

class TrafficListener {
 public:
  // One piece of traffic; `bytes` is borrowed for the call.
  virtual void onTraffic(XplTraceKind kind, std::string_view bytes) = 0;

 protected:
  ~TrafficListener() = default;
};

// Given to a device when it is created; hands its traffic on to all listeners, which it borrows.
class LineTrace : public ITraceProvider {
 public:
  void add(TrafficListener* listener) { listeners.push_back(listener); }

  bool IsTraceEnabled() override { return !listeners.empty(); }
  void* GetTraceContext() override { return this; }
  XplTraceCallback GetTraceCallback() override;

 private:
  static int handOn(void* context, int kind, unsigned slot, const void* data, unsigned length);

  std::vector<TrafficListener*> listeners;
};

}  // namespace orvix::host
