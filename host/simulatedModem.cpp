#include "host/simulatedModem.h"

namespace orvix::host {

SimulatedModem::SimulatedModem() : runner([this] { simulator::run(modem, line, stop); }) {
}

SimulatedModem::~SimulatedModem() {
  stop.request();
  // The line and the modem belong to that thread until it has ended.
  runner.join();
}

}  // namespace orvix::host
