// SIGINT, SIGTERM and SIGHUP as a wish to stop. Any thread, unless a line below says otherwise.
#pragma once

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

}  // namespace orvix::program
