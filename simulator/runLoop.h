// Joins a station and its line in real time, in a program or in a thread of a test.
#pragma once

#include <functional>

#include "simulator/dce.h"
#include "simulator/descriptor.h"
#include "simulator/line.h"

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

// Switches the modem on and returns when stop is requested, or when the modem is over and clients have read what it
// sent; throws std::system_error when the line fails. Modem and line belong to the calling thread meanwhile, and the
// modem's handlers run in it, as does onReturn, after each return from a hang-up: other threads look at the modem after
// run() returned.
void run(Dce& dce, Line& line, const StopEvent& stop, const std::function<void()>& onReturn = {});

}  // namespace orvix::simulator
