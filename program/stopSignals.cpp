#include "program/stopSignals.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>

namespace orvix::program {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Written by the handler, so that a signal between test and wait is not lost.
int wakeUp = -1;
std::atomic<int> firstSignal{0};

void onSignal(int signal) {
  const int savedErrno = errno;
  // The first one stays: a shell is told which signal ended the program.
  int none = 0;
  firstSignal.compare_exchange_strong(none, signal);
  eventfd_write(wakeUp, 1);
  errno = savedErrno;
}

}  // namespace

void catchStopSignals() {
  // Before the handlers: a signal may come between two lines.
  wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  struct sigaction action {};
  // Without SA_RESTART: a read or a poll that waits is to return.
  action.sa_handler = onSignal;
  for (const int signal : kSignals) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    // nohup ignores it on purpose.
    if (signal != SIGHUP || before.sa_handler != SIG_IGN) {
      sigaction(signal, &action, nullptr);
    }
  }
}

int stopSignal() {
  return firstSignal;
}

bool isStopWished() {
  return stopSignal() != 0;
}

int stopDescriptor() {
  return wakeUp;
}

bool sleepUnlessStopped(double seconds) {
  pollfd event{wakeUp, POLLIN, 0};
  const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    const double left = std::chrono::duration<double>(until - std::chrono::steady_clock::now()).count();
    if (isStopWished() || left <= 0) {
      return !isStopWished();
    }
    // In pieces of a minute, since milliseconds of a long wait do not fit; rounded up, so that it never spins.
    poll(&event, 1, left > 60 ? 60000 : static_cast<int>(left * 1000) + 1);
  }
}

}  // namespace orvix::program
