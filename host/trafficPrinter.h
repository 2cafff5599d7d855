// Shows a line's traffic on standard error, as it happens. One thread at a time: that of the device call, as LineTrace
// tells it.
#pragma once

#include "hostkit/traffic.h"

namespace orvix::host {

// One line for each piece: local time, direction (">" to the modem, "<" from it, "=" modem lines) and the text with
// control characters escaped, or the lines that are on; with `hex` a second line of hexadecimal bytes.
// Written unbuffered, piece by piece, so that what was seen last before a hang is on the screen.
class TrafficPrinter final : public hostkit::TrafficListener {
 public:
  explicit TrafficPrinter(bool hex) : withHex(hex) {}

  void onTraffic(const hostkit::TrafficPiece& piece) override;

 private:
  bool withHex;
};

}  // namespace orvix::host
