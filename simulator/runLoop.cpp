#include "simulator/runLoop.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <chrono>
#include <limits>

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

// For poll: the time left in milliseconds, or -1 to wait for events alone.
int timeoutMs(const Dce& dce, const Clock& clock) {
  const std::optional<std::int64_t> dueMs = dce.nextDueMs();
  if (!dueMs) {
    return dce.isOver() ? kDrainPollMs : -1;
  }
  return static_cast<int>(std::clamp<std::int64_t>(*dueMs - clock.nowMs(), 0, std::numeric_limits<int>::max()));
}

bool isRead(const Line& line, std::int64_t overForMs) {
  return line.isDrained() || overForMs > kDrainLimitMs;
}

void followHangUp(const Dce& dce, Line& line, bool& isUp, const std::function<void()>& onReturn) {
  if (dce.isOnLine() == isUp) {
    return;
  }
  isUp = !isUp;
  if (!isUp) {
    return line.hangUp();
  }
  line.reconnect();
  if (onReturn) {
    onReturn();
  }
}

}  // namespace

StopEvent::StopEvent() : event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (event.get() < 0) {
    throwErrno("cannot create the stop event");
  }
}

void StopEvent::request() const noexcept {
  const int savedErrno = errno;
  ::eventfd_write(event.get(), 1);
  errno = savedErrno;
}

int StopEvent::descriptor() const noexcept {
  return event.get();
}

void run(Dce& dce, Line& line, const StopEvent& stop, const std::function<void()>& onReturn) {
  const Clock clock;
  bool isUp = true;
  for (std::int64_t activeMs = 0; !dce.isOver() || !isRead(line, clock.nowMs() - activeMs);) {
    activeMs = dce.isOver() ? activeMs : clock.nowMs();
    pollfd events[] = {{stop.descriptor(), POLLIN, 0}, {line.descriptor(), POLLIN, 0}};
    if (::poll(events, 2, timeoutMs(dce, clock)) < 0 && errno != EINTR) {
      throwErrno("cannot wait for the line");
    }
    if (events[0].revents != 0) {
      return;
    }
    if (events[1].revents != 0) {
      dce.receive(line.receive(), clock.nowMs());
    }
    line.send(dce.takeOutput(clock.nowMs()));
    followHangUp(dce, line, isUp, onReturn);
  }
}

}  // namespace orvix::simulator
