#include "hostkit/lineWatch.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

namespace orvix::hostkit {
namespace {

// How long isEnough may go unasked.
constexpr std::int64_t kSliceUs = 500000;

}  // namespace

// O_NONBLOCK, since an open would wait for a carrier otherwise; O_NOCTTY, since a modem's line must not send us
// signals.
LineWatch::LineWatch(const std::string& path) : line(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
}

LineWatch::~LineWatch() {
  if (isOpen()) {
    close(line);
  }
}

std::string LineWatch::listen(int timeoutMs) {
  if (!isOpen() || hungUp) {
    return "";
  }
  pollfd event{line, POLLIN, 0};
  if (poll(&event, 1, timeoutMs) <= 0) {
    return "";
  }
  char bytes[512];
  const ssize_t count = (event.revents & POLLIN) != 0 ? read(line, bytes, sizeof bytes) : 0;
  // What came before the hang-up is still to be read first.
  hungUp = count <= 0 && (event.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
  return count > 0 ? std::string(bytes, static_cast<std::size_t>(count)) : "";
}

void listenOn(LineWatch* watch, LineTrace* trace, int timeoutMs, const std::function<bool()>& isEnough) {
  const std::int64_t endUs = monotonicUs() + std::int64_t{timeoutMs} * 1000;
  while (!isEnough() && watch->isOpen() && !watch->isHungUp()) {
    const std::int64_t leftUs = endUs - monotonicUs();
    if (leftUs <= 0) {
      return;
    }
    // Rounded up, or the last millisecond would be spent in a busy loop.
    const std::string bytes = watch->listen(static_cast<int>(std::min(leftUs, kSliceUs) / 1000) + 1);
    if (!bytes.empty()) {
      trace->tell(kXplTraceReceived, bytes);
    }
  }
}

}  // namespace orvix::hostkit
