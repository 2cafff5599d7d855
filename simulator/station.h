// What sits at the modem's end of a line: a modem, or the recording of one. Bytes in, bytes out, time as an argument,
// in milliseconds since the station was switched on; the clock never runs backwards. One thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvix::simulator {

class Station {
 public:
  virtual ~Station() = default;

  // Takes what the client wrote, in pieces of any size.
  virtual void receive(std::string_view bytes, std::int64_t nowMs) = 0;

  // Hands over, once, the output due by nowMs, in order; empty when there is none. A hang-up or a return ends what one
  // call hands over and shows in isOnLine(); more may be due then.
  virtual std::string takeDue(std::int64_t nowMs) = 0;

  // When takeDue next has something to do; none while nothing is pending.
  virtual std::optional<std::int64_t> nextDueMs() const = 0;

  // As of the latest takeDue: whether the station holds the line or has hung up.
  virtual bool isOnLine() const { return true; }

  // As of the latest call: whether nothing will happen any more.
  virtual bool isOver() const { return false; }
};

}  // namespace orvix::simulator
