#include "host/trafficPrinter.h"

#include <iostream>

#include "program/terminal.h"

namespace orvix::host {

void TrafficPrinter::onTraffic(XplTraceKind kind, std::string_view bytes) {
  std::cerr << program::dim(std::cerr, program::timeOfDay(true)) << ' ';
  switch (kind) {
    case kXplTraceSent:
      std::cerr << "> " << escaped(bytes);
      break;
    case kXplTraceReceived:
      std::cerr << "< " << escaped(bytes);
      break;
    case kXplTraceLinesRead:
      std::cerr << "= lines:" << linesThatAreOn(bytes);
      break;
    case kXplTraceLinesSet:
      std::cerr << "= lines set:" << linesThatAreOn(bytes);
      break;
  }
  if (withHex) {
    std::cerr << "\n               " << program::dim(std::cerr, hexText(bytes));
  }
  std::cerr << std::endl;
}

}  // namespace orvix::host
