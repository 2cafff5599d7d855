#include "serial/xpl.h"

#include "serial/line.h"
#include "serial/port.h"

int XPLOpen(const XplDcb* dcb, unsigned receiveSize, unsigned /*transmitSize*/, void* traceContext,
            XplTraceCallback traceCallback) {
  xpl::XplPort* const port = dcb != nullptr ? xpl::createPort(receiveSize) : nullptr;
  if (port == nullptr) {
    return 0;
  }
  if (!xpl::openLine(port, *dcb) || !xpl::configureLine(*port, *dcb)) {
    xpl::closeLine(port);
    xpl::destroyPort(port);
    return 0;
  }
  // Before the first status is read, so that the trace begins with it.
  xpl::chooseTrace(port, traceContext, traceCallback);
  xpl::readModemStatus(port, std::nullopt);  // Primes the line cache; a line without modem lines is no failure.
  return static_cast<int>(port->slot) + 1;
}

int XPLClose(int handle) {
  if (xpl::XplPort* const port = xpl::findPort(handle)) {
    xpl::closeLine(port);
    xpl::destroyPort(port);
  }
  return 1;
}

int XPLGetVersion() {
  // As hosts compare it; it says nothing of this source's age.
  return 1225;
}
