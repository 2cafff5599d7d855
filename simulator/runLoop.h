// Joins a modem and its line in real time, in a program or in a thread of a test.
#pragma once

#include "simulator/descriptor.h"
#include "simulator/modem.h"
#include "simulator/ptyLine.h"

namespace orvix::simulator {

// Ends run(). Any thread and any signal handler may request it, before, during or after run(); once requested it stays.
class StopEvent {
 public:
  // Throws std::system_error.
  StopEvent();

  void request() const noexcept;

  // Readable, for poll, once requested. Borrowed.
  int descriptor() const noexcept;

 private:
  Descriptor event;
};

// Returns when stop is requested; throws std::system_error when the line fails. The modem and the line belong to the
// calling thread meanwhile, and the modem's handlers run in it: other threads look at messages() after run() returned.
void run(Modem& modem, PtyLine& line, const StopEvent& stop);

}  // namespace orvix::simulator
