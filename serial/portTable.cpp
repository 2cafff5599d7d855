// The table of ports: seven slots, and the making and freeing of what they hold.

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "debug/xdbg.h"
#include "serial/port.h"

namespace xpl {
namespace {

// Handles are 1 to 7: hosts know the number.
constexpr unsigned kSlotCount = 7;

XplPort* slots[kSlotCount];

// What a slot holds while its port is being made.
XplPort* reserved() {
  return reinterpret_cast<XplPort*>(std::intptr_t{-1});  // NOLINT(performance-no-int-to-ptr): a mark, no address
}

XplPort** reserveSlot() {
  for (XplPort*& slot : slots) {
    if (slot == nullptr) {
      slot = reserved();
      return &slot;
    }
  }
  return nullptr;
}

void freePort(XplPort* port) {
  std::free(port->ring);
  std::free(port->scratch);
  std::free(port);
}

}  // namespace

XplPort* createPort(unsigned receiveSize) {
  XplPort** const slot = reserveSlot();
  if (slot == nullptr) {
    return nullptr;
  }
  XplPort* const port = static_cast<XplPort*>(std::calloc(1, sizeof(XplPort)));
  if (port == nullptr) {
    return nullptr;  // Hosts rely on it: the slot stays reserved.
  }
  port->slot = static_cast<std::uint32_t>(slot - slots);
  port->descriptor = -1;
  port->receiveSize = receiveSize;
  port->scratch = static_cast<unsigned char*>(std::malloc(receiveSize));
  port->ring = createRing(receiveSize);
  // In the table before it is whole, so that one function undoes whatever is missing.
  *slot = port;
  if (port->scratch == nullptr || port->ring == nullptr) {
    destroyPort(port);
    return nullptr;
  }
  return port;
}

void destroyPort(XplPort* port) {
  slots[port->slot] = nullptr;
  freePort(port);
}

XplPort* findPort(int handle) {
  if (handle < 1 || handle > static_cast<int>(kSlotCount)) {
    return nullptr;
  }
  XplPort* const port = slots[handle - 1];
  return port == reserved() ? nullptr : port;
}

void reportSystemError(const char* path, const char* what) {
  XDbgError("%s: %s: %s", path, what, std::strerror(errno));
}

}  // namespace xpl
