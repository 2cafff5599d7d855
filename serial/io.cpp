#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

#include "serial/port.h"

namespace {

// One read(2) into the ring. Errors are neither reported nor kept: the next read tells.
void refill(xpl::XplPort* port) {
  const std::size_t room = std::min(port->ring->capacity - port->ring->count, port->receiveSize);
  if (room == 0) {
    return;
  }
  const ssize_t received = read(port->descriptor, port->scratch, room);
  if (received < 1) {
    return;
  }
  xpl::trace(*port, kXplTraceReceived, port->scratch, static_cast<unsigned>(received));
  xpl::put(port->ring, port->scratch, static_cast<std::uint32_t>(received));
}

}  // namespace

int XPLRead(int handle, void* buffer, int length) {
  xpl::XplPort* const port = xpl::findPort(handle);
  if (port == nullptr || length <= 0) {
    return 0;
  }
  auto* const out = static_cast<unsigned char*>(buffer);
  const auto wanted = static_cast<std::uint32_t>(length);
  for (std::uint32_t taken = 0; taken < wanted;) {
    if (port->ring->count == 0) {
      refill(port);
    }
    const std::uint32_t piece = xpl::take(port->ring, out + taken, wanted - taken);
    if (piece == 0) {
      return -static_cast<int>(taken);
    }
    taken += piece;
  }
  return length;
}

int XPLWrite(int handle, const void* buffer, int length) {
  const xpl::XplPort* const port = xpl::findPort(handle);
  if (port == nullptr || length < 0) {
    return 0;
  }
  const ssize_t sent = write(port->descriptor, buffer, static_cast<std::size_t>(length));
  if (sent < 1) {
    return 0;
  }
  xpl::trace(*port, kXplTraceSent, buffer, static_cast<unsigned>(sent));
  return sent == length ? length : -static_cast<int>(sent);
}

int XPLPurgeInput(int handle) {
  const xpl::XplPort* const port = xpl::findPort(handle);
  if (port == nullptr) {
    return 0;
  }
  xpl::reset(port->ring);
  tcflush(port->descriptor, TCIFLUSH);
  return 1;
}

int XPLPurgeInputAfter(int handle, unsigned milliseconds) {
  usleep(std::min(milliseconds, UINT_MAX / 1000) * 1000);
  return XPLPurgeInput(handle);
}
