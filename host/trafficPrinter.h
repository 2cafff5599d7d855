// Shows a line's traffic on standard error. One thread.
#pragma once

#include "host/traffic.h"

namespace orvix::host {

// One line for each piece: local time, direction (">" to the modem, "<" from it, "=" modem lines) and the text with
// control characters escaped, or the lines that are on; with `hex` a second line of hexadecimal bytes.
class TrafficPrinter final : public TrafficListener {
 public:
  explicit TrafficPrinter(bool hex) : withHex(hex) {}

  void onTraffic(XplTraceKind kind, std::string_view bytes) override;

 private:
  bool withHex;
};

}  // namespace orvix::host
