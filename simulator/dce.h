// The modem's end of a line (data circuit-terminating equipment of ITU-T V.24): a modem, or the recording of one. Bytes
// in, bytes out, time as an argument, in milliseconds since it was switched on; the clock never runs backwards. One
// thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvix::simulator {

class Dce {
 public:
  virtual ~Dce() = default;

  // Takes what the client wrote, in pieces of any size.
  virtual void receive(std::string_view bytes, std::int64_t nowMs) = 0;

  // Hands over, once, the output due by nowMs, in order; empty when there is none. A hang-up or a return ends what one
  // call hands over and shows in isOnLine(); more may be due then.
  virtual std::string takeOutput(std::int64_t nowMs) = 0;

  // When takeOutput next has something to do; none while nothing is pending.
  virtual std::optional<std::int64_t> nextDueMs() const = 0;

  // As of the latest takeOutput: whether it holds the line or has hung up.
  virtual bool isOnLine() const { return true; }

  // Its line is pulled by somebody: what was to be sent is lost, and it forgets what a modem without power forgets.
  virtual void unplug() {}

  // As of the latest call: whether nothing will happen any more.
  virtual bool isOver() const { return false; }
};

}  // namespace orvix::simulator
