// xpl: serial ports behind small integer handles.
//
// Threads: no locks. The port table and the global trace setting are process-wide: open and close from one thread at a
// time, and use one handle from one thread at a time. Trace callbacks run on the calling thread, inside the call.
//
// Nothing here blocks or waits (XPLPurgeInputAfter alone sleeps): ports are opened non-blocking and every call returns
// at once with what is there. Functions answer 1 for success and 0 for failure unless said otherwise; the reason of a
// failure is reported through xdbg at error level, device path first. An unknown handle (outside 1 to 7, or not open)
// makes a function return 0 silently.
#pragma once

#include <cstdint>

extern "C" {

// Kinds of traffic that a trace callback is told about.
enum XplTraceKind : int {
  kXplTraceReceived = 1,   // bytes just read from the device
  kXplTraceSent = 2,       // bytes just accepted by the device
  kXplTraceLinesRead = 3,  // two bytes: bits 0-7, then bits 8-15 of the modem status word
  kXplTraceLinesSet = 4,   // two bytes likewise, of the new line state
};

// `slot` is the table index 0 to 6, that is the handle minus one. `data` (`length` bytes) is borrowed for the call.
// The result is ignored.
typedef int (*XplTraceCallback)(void* context, int kind, unsigned slot, const void* data, unsigned length);

// Device control block: a connection string taken apart. Filled by XPLBuildDCB, owned by the caller.
struct XplDcb {
  char connectionString[128];  // "PATH:baud,parity,dataBits,stopBits", e.g. "/dev/ttyO2:9600,n,8,1", NUL-padded
  std::int32_t reserved1;
  std::int32_t baud;      // 50 to 230400, the POSIX speeds
  std::int32_t parity;    // 'n', 'e' or 'o' in either case, in the low byte
  std::int32_t dataBits;  // 5 to 8
  std::int32_t stopBits;  // 1 or 2
  std::int32_t reserved2[5];
  std::int32_t reserved3;
};

// Fills `dcb` from `connectionString`. White space is dropped but every other character keeps its index, so a blank in
// a fresh block ends the string there, and with a template the template's byte shows through. Every rejected setting is
// reported ("PATH: invalid baudrate: 0" and the like). Returns 1 when all settings were accepted; with a template
// (`templ` not null, copied first) also when some were rejected, for the template's values stand in.
// Returns 0 for a null string or block, and, reported as "invalid comstr: ...", for a string longer than 127 bytes, in
// which case the block is untouched. `dcb` must not overlap the string or the template.
int XPLBuildDCB(const char* connectionString, XplDcb* dcb, const XplDcb* templ);

// Opens, locks (flock(2), exclusive) and configures the device named by `dcb`: raw, no flow control, VMIN and VTIME 0.
// The path "/dev/null" is neither locked nor configured and keeps its modem lines in memory. `receiveSize` is the size
// of the receive ring in bytes; `transmitSize` is ignored, there is no transmit buffer. The trace pair is used when
// both are given; otherwise the global pair when both of it are set; otherwise nothing is traced. The callback and its
// context are borrowed until the port is closed.
// Returns the handle, 1 to 7, or 0. A full table fails silently. Errors: open, lock, tcgetattr, tcsetattr, and what
// XPLBuildDCB rejects. Until XPLClose the device stays locked against a second open from this or another process.
int XPLOpen(const XplDcb* dcb, unsigned receiveSize, unsigned transmitSize, void* traceContext,
            XplTraceCallback traceCallback);

// Restores the line settings found at open, unlocks, closes and frees the port. Returns 1, also for an unknown handle.
int XPLClose(int handle);

// Takes up to `length` bytes that have arrived. Returns `length` when all of them were there, otherwise minus the
// number taken (0 when none). The device is read only when the ring is empty: one read(2) for each burst of input.
int XPLRead(int handle, void* buffer, int length);

// One write(2). Returns `length` when all was written, minus the number written when fewer were, 0 when none.
int XPLWrite(int handle, const void* buffer, int length);

// Discards what has been received, in the ring and in the system's input queue. Returns 1.
int XPLPurgeInput(int handle);

// Sleeps first (at most 4,294,967 ms; also for an unknown handle), then purges.
int XPLPurgeInputAfter(int handle, unsigned milliseconds);

// Requests for XPLSetModemLines. A drop wins over a raise given together.
enum XplLineRequest : unsigned { kXplRaiseDtr = 0x1, kXplRaiseRts = 0x2, kXplDropDtr = 0x4, kXplDropRts = 0x8 };

// Modem status word.
enum XplModemStatus : unsigned {
  kXplCtsChanged = 0x0001,
  kXplDsrChanged = 0x0002,
  kXplRingChanged = 0x0004,
  kXplCarrierChanged = 0x0008,
  kXplCts = 0x0010,
  kXplDsr = 0x0020,
  kXplRing = 0x0040,
  kXplCarrier = 0x0080,
  kXplDtr = 0x0100,
  kXplRts = 0x0200,
  kXplDtrChanged = 0x0400,
  kXplRtsChanged = 0x0800,
};

// Drives DTR and RTS by a combination of XplLineRequest bits (TIOCMGET, TIOCMSET).
int XPLSetModemLines(int handle, unsigned request);

// Stores the modem status word in `status` (null gives 0). The change bits compare the *raw* system word of the last
// read or set with the new status word; the layouts differ and hosts rely on the bits as they come.
int XPLGetModemStatus(int handle, unsigned* status);

// Sets the trace pair for ports opened from now on without one of their own. Returns 1.
int XPLSetTraceCallback(void* context, XplTraceCallback callback);

// Deprecated: only warn. XPLSetTrace returns 0.
int XPLSetTrace(void* context, int flags);
void XPLSetTraceEx(void* context, int flags, int reserved);

// The library version, 1225.
int XPLGetVersion();

}  // extern "C"
