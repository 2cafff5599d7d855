// SIGINT, SIGTERM and SIGHUP as a wish to end. Any thread; install once.
#pragma once

namespace orvix::host {

// From now on these signals only make isInterrupted true.
void catchInterrupts();
bool isInterrupted();
// Waits; returns early, false, when interrupted.
bool sleepUnlessInterrupted(double seconds);

}  // namespace orvix::host
