#include "host/simulatedModem.h"

namespace orvix::host {

SimulatedModem::SimulatedModem() : runner([this] { simulator::run(modem, line, stop); }) {
}

SimulatedModem::~SimulatedModem() {
  stop.request();
  runner.join();
}

}  // namespace orvix::host
