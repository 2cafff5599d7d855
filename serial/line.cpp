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
  // What is found here is put back at the close, so a modem's line outlives us as it was.
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
  // O_NONBLOCK: neither the open waits for a carrier nor a read for bytes. O_NOCTTY: a modem's hang-up ends no process.
  const int descriptor = open(port->path, O_RDWR | O_NOCTTY | O_NONBLOCK);
  if (descriptor == -1) {
    reportSystemError(port->path, "open");
    return false;
  }
  // A line for hosts without hardware: it has no settings and may be opened by many.
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
  // Looked up for /dev/null too: settings that are not accepted fail every open.
  const std::optional<termios> settings = lineSettings(port.path, dcb);
  if (!settings) {
    return false;
  }
  if ((port.flags & kNoLineDiscipline) == 0 && tcsetattr(port.descriptor, TCSANOW, &*settings) != 0) {
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
    // Settings before the lock: whoever waits for it finds the line as it was.
    tcsetattr(port->descriptor, TCSANOW, &port->saved);
    flock(port->descriptor, LOCK_UN);
  }
  close(port->descriptor);
}

}  // namespace xpl
