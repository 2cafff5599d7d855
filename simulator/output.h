// Standard output or error of a program that must not miss the wish to stop. One thread at a time.
#pragma once

#include <string_view>

namespace orvix::simulator {

// Text goes out byte by byte as it is given: whoever writes escapes what a terminal must not see.
class Output {
 public:
  // Both borrowed; the stop descriptor becomes readable when a stop is wished.
  Output(int written, int stop) : descriptor(written), stopDescriptor(stop) {}

  // Waits while a pipe is full, but no longer than until a stop is wished: the rest is lost then, as it is when the
  // reader is gone. Tells nobody of a failure, for a modem does not end because nobody looks at it.
  void write(std::string_view text) const;

 private:
  int descriptor;
  int stopDescriptor;
};

}  // namespace orvix::simulator
