#include "serial/line.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstring>

#include "serial/dcb.h"

namespace xpl {
namespace {

// Locks the device and saves its line settings; false, reported, leaves it unlocked.
bool claimLine(XplPort* port, int descriptor) {
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    reportSystemError(port->path, "lock");
    return false;
  }
  if (tcgetattr(descriptor, &port->saved) != 0) {
    reportSystemError(port->path, "get attribs");
    flock(descriptor, LOCK_UN);
    return false;
  }
  return true;
}

}  // namespace

bool openLine(XplPort* port, const XplDcb& dcb) {
  const SplitString parts = splitConnectionString(dcb);
  if (!parts.split) {
    return false;
  }
  std::memcpy(port->path, parts.path, sizeof port->path);
  const int descriptor = open(port->path, O_RDWR | O_NOCTTY | O_NONBLOCK);
  if (descriptor == -1) {
    reportSystemError(port->path, "open");
    return false;
  }
  if (std::strcmp(port->path, "/dev/null") == 0) {
    port->flags = kNoLineDiscipline | kNoModemLines;
  } else if (!claimLine(port, descriptor)) {
    close(descriptor);
    return false;
  }
  port->descriptor = descriptor;
  return true;
}

bool configureLine(const XplPort& port, const XplDcb& dcb) {
  termios line{};  // All control characters 0, so VMIN and VTIME too: a read returns at once with what is there.
  line.c_cflag = CREAD | CLOCAL;
  if (!applyBaud(port.path, dcb.baud, &line) ||
      !applyParity(port.path, static_cast<unsigned char>(dcb.parity), &line) ||
      !applyDataBits(port.path, dcb.dataBits, &line) || !applyStopBits(port.path, dcb.stopBits, &line)) {
    return false;
  }
  if ((port.flags & kNoLineDiscipline) == 0 && tcsetattr(port.descriptor, TCSANOW, &line) != 0) {
    reportSystemError(port.path, "put attribs");
    return false;
  }
  return true;
}

void closeLine(XplPort* port) {
  if (port->descriptor == -1) {
    return;
  }
  if ((port->flags & kNoLineDiscipline) == 0) {
    tcsetattr(port->descriptor, TCSANOW, &port->saved);
    flock(port->descriptor, LOCK_UN);
  }
  close(port->descriptor);
  port->descriptor = -1;
}

}  // namespace xpl
