// A second descriptor on a device's line: hears what comes while no call of the device runs, without sending a byte.
//
// Threads: one at a time. While it listens no call of the device may run: the two would take bytes from each other.
//
// As long as it lives the line is open, so DTR stays up between a Stop and a Start. It touches neither the line's
// settings nor its lock.
#pragma once

#include <functional>
#include <string>

#include "hostkit/traffic.h"

namespace orvix::hostkit {

class LineWatch {
 public:
  // Opens the device path, without a connection string's settings. A path that does not open is no failure here:
  // isOpen tells, and errno is that of open(2).
  explicit LineWatch(const std::string& path);
  ~LineWatch();
  LineWatch(const LineWatch&) = delete;
  LineWatch& operator=(const LineWatch&) = delete;

  bool isOpen() const { return line != -1; }
  // For poll; borrowed. Without an event asked for, a hang-up alone shows.
  int descriptor() const { return line; }
  // Whether the other end is gone: nothing will ever come. Learned by listening.
  bool isHungUp() const { return hungUp; }
  // Waits up to `timeoutMs` for bytes and returns what has come; "" when nothing came, the line is hung up, or a signal
  // ended the wait. 0 takes what is there.
  std::string listen(int timeoutMs);

 private:
  int line;
  bool hungUp = false;
};

// Tells `trace` of all that comes until `isEnough` holds, the line is hung up, or `timeoutMs` are over. `isEnough` is
// asked first, after each piece, and at least twice a second: it may also end the wait for reasons of its own. For a
// late result that is `!judge(...).mayResultCome`, for a late prompt `!judge(...).mayPromptCome`.
void listenOn(LineWatch* watch, LineTrace* trace, int timeoutMs, const std::function<bool()>& isEnough);

}  // namespace orvix::hostkit
