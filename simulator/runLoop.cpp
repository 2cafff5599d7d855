#include "simulator/runLoop.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

namespace orvix::simulator {
namespace {

// How often a line is asked again whether it is drained, which no descriptor tells.
constexpr int kDrainPollMs = 10;
// A client that reads nothing for so long will not read at all.
constexpr std::int64_t kDrainLimitMs = 10000;

class Clock {
 public:
  std::int64_t nowMs() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin).count();
  }

 private:
  const std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
};

class Loop {
 public:
  Loop(Dce& looped, Line& itsLine, const RunOptions& wanted) : dce(looped), line(itsLine), options(wanted) {}

  // False when stop is wished.
  bool step(int stopDescriptor) {
    const int plugDescriptor = options.plug != nullptr ? options.plug->moved().descriptor() : -1;
    pollfd events[] = {{stopDescriptor, POLLIN, 0}, {line.descriptor(), POLLIN, 0}, {plugDescriptor, POLLIN, 0}};
    if (::poll(events, 3, timeoutMs()) < 0 && errno != EINTR) {
      throwErrno("cannot wait for the line");
    }
    if (events[0].revents != 0) {
      return false;
    }
    // Input before output: what a client asked for just now may be answered in this very step.
    if (events[1].revents != 0) {
      dce.receive(line.receive(), clock.nowMs());
    }
    if (events[2].revents != 0) {
      options.plug->moved().clear();
    }
    line.send(dce.takeOutput(clock.nowMs()));
    followHangUp();
    // Stays at the last moment of life, from which the wait for a client that does not read is counted.
    activeMs = dce.isOver() ? activeMs : clock.nowMs();
    return true;
  }

  // Nothing will happen any more, and clients have read everything, or read nothing at all.
  bool isOver() const { return dce.isOver() && (line.isDrained() || clock.nowMs() - activeMs > kDrainLimitMs); }

 private:
  // For poll: the time left, or -1 to wait for events alone.
  int timeoutMs() const {
    const std::optional<std::int64_t> dueMs = dce.nextDueMs();
    if (!dueMs) {
      return dce.isOver() ? kDrainPollMs : -1;
    }
    return static_cast<int>(std::clamp<std::int64_t>(*dueMs - clock.nowMs(), 0, std::numeric_limits<int>::max()));
  }

  void followHangUp() {
    const unsigned pulls = options.plug != nullptr ? options.plug->pulls() : 0;
    if (pulls != seenPulls) {
      seenPulls = pulls;
      dce.unplug();
      setUp(false);  // also when it is in again already
    }
    setUp(dce.isOnLine() && (options.plug == nullptr || options.plug->isIn()));
  }

  void setUp(bool isWanted) {
    if (std::exchange(isUp, isWanted) == isWanted) {
      return;
    }
    if (!isWanted) {
      return line.hangUp();
    }
    line.reconnect();
    if (options.onReturn) {
      options.onReturn();
    }
  }

  const Clock clock;
  Dce& dce;
  Line& line;
  const RunOptions& options;
  bool isUp = true;
  unsigned seenPulls = 0;
  std::int64_t activeMs = 0;
};

}  // namespace

Event::Event() : event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (event.get() < 0) {
    throwErrno("cannot create an event");
  }
}

void Event::signal() const noexcept {
  // eventfd_write may be called from a signal handler (signal-safety(7)); the code that it interrupts must not see its
  // errno.
  const int savedErrno = errno;
  ::eventfd_write(event.get(), 1);
  errno = savedErrno;
}

void Event::clear() const noexcept {
  eventfd_t count = 0;
  ::eventfd_read(event.get(), &count);
}

void run(Dce& dce, Line& line, int stopDescriptor, const RunOptions& options) {
  Loop loop(dce, line, options);
  while (!loop.isOver() && loop.step(stopDescriptor)) {
  }
}

}  // namespace orvix::simulator
