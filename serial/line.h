// The device file of a port: open and lock it, configure it, put it back. One port, one thread at a time.
// Failures are reported through xdbg.
#pragma once

#include "serial/port.h"

namespace xpl {

// Opens the device that `dcb` names, takes its lock and saves its line settings; false leaves nothing open.
bool openLine(XplPort* port, const XplDcb& dcb);

// Sets speed, parity, data and stop bits, raw and without flow control. The first rejected setting ends it.
bool configureLine(const XplPort& port, const XplDcb& dcb);

// Restores the saved settings, unlocks and closes, as the last thing before the port goes; nothing happens to a line
// that was never opened.
void closeLine(XplPort* port);

}  // namespace xpl
