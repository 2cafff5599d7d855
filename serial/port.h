// The record that a handle stands for, and the table of all of them. Process-wide, without a lock:
// one thread at a time, as serial/xpl.h says.
#pragma once

#include <termios.h>

#include <cstdint>
#include <optional>

#include "serial/ring.h"
#include "serial/xpl.h"

namespace xpl {

inline constexpr std::uint32_t kNoLineDiscipline = 0x1;  // skip locking and termios
inline constexpr std::uint32_t kNoModemLines = 0x2;      // work on the line cache alone

// Zeroed when XPLOpen makes it; it goes with XPLClose, and the handle with it.
struct XplPort {
  std::uint32_t slot;              // 0 to 6
  char path[128];                  // of the device
  std::int32_t descriptor;         // -1 while closed
  XplRing* ring;                   // owned
  std::uint32_t receiveSize;       // in bytes, of ring and scratch
  unsigned char* scratch;          // owned; a refill reads into it
  termios saved;                   // line settings found at open
  std::uint32_t lineCache;         // last raw modem-control word read or written
  std::uint32_t flags;             // kNoLineDiscipline, kNoModemLines
  XplTraceCallback traceCallback;  // null: no tracing
  void* traceContext;
};

// Puts a new closed port into the first empty slot; null when the table is full or memory is out.
XplPort* createPort(unsigned receiveSize);
// Empties the port's slot and frees the port. Its device is closed already.
void destroyPort(XplPort* port);
// The port of a handle; null for an unknown one.
XplPort* findPort(int handle);

inline void trace(const XplPort& port, XplTraceKind kind, const void* data, unsigned length) {
  if (port.traceCallback != nullptr) {
    port.traceCallback(port.traceContext, kind, port.slot, data, length);
  }
}

// Gives the port the trace pair chosen among its own, the global one and none, and reports which.
void chooseTrace(XplPort* port, void* context, XplTraceCallback callback);

// The modem status word, with change bits against the raw word `previous` when there is one; nothing, reported, when
// the system refuses.
std::optional<unsigned> readModemStatus(XplPort* port, std::optional<std::uint32_t> previous);

// Reports "PATH: WHAT: " and the text of the current errno.
void reportSystemError(const char* path, const char* what);

}  // namespace xpl
