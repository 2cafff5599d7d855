// SIGINT, SIGTERM and SIGHUP as a wish to stop. Any thread, unless a line below says otherwise.
#pragma once

#include <csignal>

namespace orvix::program {

// From now on these signals only make isStopWished true; SIGHUP stays ignored where it is, as under nohup. Call once,
// from one thread.
void catchStopSignals();

// The first signal that came since catchStopSignals; 0 when none did.
int stopSignal();
bool isStopWished();

// For poll: readable from the first signal on. Borrowed, never read it; -1 before catchStopSignals.
int stopDescriptor();

// Waits; returns early, false, when a stop is wished.
bool sleepUnlessStopped(double seconds);

// Holds the signals back while it lives, so that a dialogue with a modem comes to its end: what came meanwhile takes
// effect when it is destroyed, as though it came then. System calls are not interrupted in the thread that made it. One
// at a time, made and destroyed by one thread.
class HeldStopSignals {
 public:
  HeldStopSignals();
  HeldStopSignals(const HeldStopSignals&) = delete;
  HeldStopSignals& operator=(const HeldStopSignals&) = delete;
  ~HeldStopSignals();

 private:
  sigset_t maskBefore{};
  struct sigaction actionsBefore[3]{};
};

}  // namespace orvix::program
