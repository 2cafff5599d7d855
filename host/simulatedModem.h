// A modem in this process, for a first try without hardware. It runs in a thread of its own until it is destroyed.
#pragma once

#include <memory>
#include <string>
#include <thread>

#include "simulator/modem.h"
#include "simulator/ptyLine.h"
#include "simulator/runLoop.h"

namespace orvix::host {

// Everything works: it is registered, has a signal, and accepts every message. It answers on a pseudo-terminal. Throws
// std::system_error where there is none.
class SimulatedModem {
 public:
  SimulatedModem();
  // Ends the thread and waits for it. To be destroyed after the device that has the line open.
  ~SimulatedModem();
  SimulatedModem(const SimulatedModem&) = delete;
  SimulatedModem& operator=(const SimulatedModem&) = delete;

  // Path of its line.
  // "/dev/pts/5", to be opened as any serial line.
  std::string path() const { return line.slavePath(); }

 private:
  // In this order: the thread, which is the last, uses the others.
  simulator::PtyLine line;
  simulator::Modem modem;
  simulator::StopEvent stop;
  std::thread runner;
};

}  // namespace orvix::host
