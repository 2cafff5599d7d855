#include "simulator/runLoop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <algorithm>
#include <chrono>
#include <limits>

namespace orvix::simulator {
namespace {

std::int64_t clockMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// For poll: the time left in milliseconds, or -1 to wait for events alone.
int timeoutMs(std::optional<std::int64_t> dueMs) {
  if (!dueMs) {
    return -1;
  }
  return static_cast<int>(std::clamp<std::int64_t>(*dueMs - clockMs(), 0, std::numeric_limits<int>::max()));
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

void run(Modem& modem, PtyLine& line, const StopEvent& stop) {
  for (;;) {
    pollfd events[] = {{stop.descriptor(), POLLIN, 0}, {line.descriptor(), POLLIN, 0}};
    if (::poll(events, 2, timeoutMs(modem.nextDueMs())) < 0 && errno != EINTR) {
      throwErrno("cannot wait for the line");
    }
    if (events[0].revents != 0) {
      return;
    }
    if (events[1].revents != 0) {
      modem.receive(line.receive(), clockMs());
    }
    line.send(modem.takeDue(clockMs()));
  }
}

}  // namespace orvix::simulator
