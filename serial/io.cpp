// Bytes of an open port: what a handle reads, writes and discards.

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

#include "serial/port.h"

namespace {

// One read(2) into the ring. Errors are neither reported nor kept: the next read meets them again.
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
    // Only then: what a read brings is traced as one piece, and hosts see the bursts of the line.
    if (port->ring->count == 0) {
      refill(port);
    }
    const std::uint32_t piece = xpl::take(port->ring, out + taken, wanted - taken);
    // Nothing more has arrived by now: who wants more waits and asks again.
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
  // No second try for the rest: a line that takes no more now would make this call wait.
  const ssize_t sent = write(port->descriptor, buffer, static_cast<std::size_t>(length));
  if (sent < 1) {
    return 0;
  }
  xpl::trace(*port, kXplTraceSent, buffer, static_cast<unsigned>(sent));
  // Minus a count: less than all, but what was taken is out.
  return sent == length ? length : -static_cast<int>(sent);
}

int XPLPurgeInput(int handle) {
  const xpl::XplPort* const port = xpl::findPort(handle);
  if (port == nullptr) {
    return 0;
  }
  xpl::reset(port->ring);
  tcflush(port->descriptor, TCIFLUSH);  // /dev/null refuses it, which does no harm
  return 1;
}

int XPLPurgeInputAfter(int handle, unsigned milliseconds) {
  // usleep(3) takes 32 bits of microseconds.
  usleep(std::min(milliseconds, UINT_MAX / 1000) * 1000);
  return XPLPurgeInput(handle);
}
