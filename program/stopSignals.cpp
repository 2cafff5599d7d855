#include "program/stopSignals.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <iterator>

namespace orvix::program {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Written by the handler, so that a signal between test and wait is not lost.
int wakeUp = -1;
std::atomic<int> firstSignal{0};
std::atomic<int> heldSignal{0};

void onSignal(int signal) {
  const int savedErrno = errno;
  int none = 0;
  firstSignal.compare_exchange_strong(none, signal);
  eventfd_write(wakeUp, 1);
  errno = savedErrno;
}

void onHeldSignal(int signal) {
  heldSignal = signal;
}

struct sigaction actionOf(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  return action;
}

}  // namespace

void catchStopSignals() {
  wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  const struct sigaction action = actionOf(onSignal);
  for (const int signal : kSignals) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
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
    poll(&event, 1, left > 60 ? 60000 : static_cast<int>(left * 1000) + 1);
  }
}

// Blocking keeps the signals from this thread's system calls, the handler from the other threads.
HeldStopSignals::HeldStopSignals() {
  heldSignal = 0;
  sigset_t held;
  sigemptyset(&held);
  const struct sigaction action = actionOf(onHeldSignal);
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaddset(&held, kSignals[i]);
    sigaction(kSignals[i], nullptr, &actionsBefore[i]);
    if (actionsBefore[i].sa_handler != SIG_IGN) {
      sigaction(kSignals[i], &action, nullptr);
    }
  }
  pthread_sigmask(SIG_BLOCK, &held, &maskBefore);
}

HeldStopSignals::~HeldStopSignals() {
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaction(kSignals[i], &actionsBefore[i], nullptr);
  }
  if (heldSignal != 0) {
    raise(heldSignal);  // taken with the others that wait
  }
  pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
}

}  // namespace orvix::program
