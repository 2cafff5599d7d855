// Joins a modem and its line in real time, in a program or in a thread of a test. Threads: see each class; run() keeps
// the calling thread until it returns.
#pragma once

#include <atomic>
#include <functional>

#include "simulator/dce.h"
#include "simulator/descriptor.h"
#include "simulator/line.h"

namespace orvix::simulator {

// A file descriptor that becomes readable. Any thread and any signal handler may signal it.
class Event {
 public:
  // Throws std::system_error.
  Event();

  // Leaves errno as it was, as a signal handler must. Until clear() the descriptor stays readable, however often it was
  // signalled.
  void signal() const noexcept;
  void clear() const noexcept;

  // For poll. Borrowed.
  int descriptor() const noexcept { return event.get(); }

 private:
  Descriptor event;
};

// Ends run(), before, during or after it began; once requested it stays.
class StopEvent {
 public:
  void request() const noexcept { event.signal(); }
  // For run(), and for poll. Borrowed.
  int descriptor() const noexcept { return event.descriptor(); }

 private:
  Event event;
};

// The plug of a line, which is in at first. Any thread and any signal handler may pull it and put it in again.
// Only atomics and an eventfd are touched, which a signal handler may do.
class Plug {
 public:
  // The state first, then the event: who is woken by it finds the new state.
  void pull() noexcept {
    in = false;
    ++pullCount;
    event.signal();
  }
  // The line comes back in run(), not here.
  void putIn() noexcept {
    in = true;
    event.signal();
  }

  // For the loop, from its own thread.
  bool isIn() const noexcept { return in; }
  // How often it was pulled: a pull is seen even when it is in again before anybody looked.
  unsigned pulls() const noexcept { return pullCount; }
  const Event& moved() const noexcept { return event; }

 private:
  std::atomic<bool> in{true};
  std::atomic<unsigned> pullCount{0};
  Event event;
};

// What else a loop does; nothing by default.
struct RunOptions {
  // Called after each return from a hang-up: the line may have another name then.
  std::function<void()> onReturn{};
  Plug* plug = nullptr;  // borrowed
};

// Switches the modem on and returns when the stop descriptor is readable, or when the modem is over and clients have
// read what it sent; throws std::system_error when the line fails. Modem and line belong to the calling thread
// meanwhile, and the modem's handlers run in it, as does onReturn: other threads look at the modem after run()
// returned.
// While a plug is out the modem's time goes on, and what it sends is lost.
void run(Dce& dce, Line& line, int stopDescriptor, const RunOptions& options = {});
inline void run(Dce& dce, Line& line, const StopEvent& stop, const RunOptions& options = {}) {
  run(dce, line, stop.descriptor(), options);
}

}  // namespace orvix::simulator
