// Joins a station and its line in real time, in a program or in a thread of a test.
#pragma once

#include "simulator/descriptor.h"
#include "simulator/line.h"
#include "simulator/station.h"

#include <functional>

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

// Switches the station on and returns when stop is requested, or when the station is over and clients have taken what
// it sent; throws std::system_error when the line fails. Station and line belong to the calling thread meanwhile, and
// the station's handlers run in it, as does onReturn, after each return from a hang-up: other threads look at the
// station after run() returned.
void run(Station& station, Line& line, const StopEvent& stop, const std::function<void()>& onReturn = {});

}  // namespace orvix::simulator
