#include "host/interrupt.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>

namespace orvix::host {
namespace {

// Written by the handler, so that a signal between test and wait is not lost.
int wakeUp = -1;
std::atomic<bool> interrupted{false};

void onSignal(int /*signal*/) {
  const int savedErrno = errno;
  interrupted = true;
  eventfd_write(wakeUp, 1);
  errno = savedErrno;
}

}  // namespace

void catchInterrupts() {
  wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGHUP, &action, nullptr);
}

bool isInterrupted() {
  return interrupted;
}

bool sleepUnlessInterrupted(double seconds) {
  pollfd event{wakeUp, POLLIN, 0};
  const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    const double left = std::chrono::duration<double>(until - std::chrono::steady_clock::now()).count();
    if (isInterrupted() || left <= 0) {
      return !isInterrupted();
    }
    poll(&event, 1, left > 60 ? 60000 : static_cast<int>(left * 1000) + 1);
  }
}

}  // namespace orvix::host
