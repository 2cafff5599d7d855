// DTR, RTS and what the modem drives: the system's modem-control word and the status word that is made of it.

#include <sys/ioctl.h>

#include "serial/port.h"

namespace xpl {
namespace {

struct LineBit {
  std::uint32_t raw;  // the system's bit
  unsigned status;    // the line is on
  unsigned changed;   // the line has changed
};

// The system's bits and ours have nothing in common but their meaning.
constexpr LineBit kLines[] = {
    {TIOCM_CAR, kXplCarrier, kXplCarrierChanged}, {TIOCM_RNG, kXplRing, kXplRingChanged},
    {TIOCM_DSR, kXplDsr, kXplDsrChanged},         {TIOCM_CTS, kXplCts, kXplCtsChanged},
    {TIOCM_DTR, kXplDtr, kXplDtrChanged},         {TIOCM_RTS, kXplRts, kXplRtsChanged},
};

unsigned statusWord(std::uint32_t raw, std::optional<std::uint32_t> previous) {
  unsigned status = 0;
  for (const LineBit& line : kLines) {
    status |= (raw & line.raw) != 0 ? line.status : 0;
  }
  const unsigned delta = previous ? *previous ^ status : 0;
  for (const LineBit& line : kLines) {
    status |= (delta & line.status) != 0 ? line.changed : 0;
  }
  return status;
}

std::optional<std::uint32_t> getRawLines(const XplPort& port) {
  if ((port.flags & kNoModemLines) != 0) {
    // There is nothing to ask: what was set last counts.
    return port.lineCache;
  }
  int lines = 0;
  if (ioctl(port.descriptor, TIOCMGET, &lines) != 0) {
    reportSystemError(port.path, "get state flags");
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(lines);
}

bool putRawLines(const XplPort& port, std::uint32_t raw) {
  const int lines = static_cast<int>(raw);
  if ((port.flags & kNoModemLines) == 0 && ioctl(port.descriptor, TIOCMSET, &lines) != 0) {
    reportSystemError(port.path, "put state flags");
    return false;
  }
  return true;
}

// Drops come after raises, and so win over a raise of the same line.
std::uint32_t changedLines(std::uint32_t raw, unsigned request) {
  raw |= (request & kXplRaiseDtr) != 0 ? TIOCM_DTR : 0;
  raw &= ~((request & kXplDropDtr) != 0 ? std::uint32_t{TIOCM_DTR} : 0);
  raw |= (request & kXplRaiseRts) != 0 ? TIOCM_RTS : 0;
  raw &= ~((request & kXplDropRts) != 0 ? std::uint32_t{TIOCM_RTS} : 0);
  return raw;
}

void traceStatus(const XplPort& port, XplTraceKind kind, unsigned status) {
  const unsigned char bytes[] = {static_cast<unsigned char>(status & 0xFF), static_cast<unsigned char>(status >> 8)};
  trace(port, kind, bytes, sizeof bytes);
}

}  // namespace

std::optional<unsigned> readModemStatus(XplPort* port, std::optional<std::uint32_t> previous) {
  const std::optional<std::uint32_t> raw = getRawLines(*port);
  if (!raw) {
    return std::nullopt;
  }
  const unsigned status = statusWord(*raw, previous);
  port->lineCache = *raw;
  traceStatus(*port, kXplTraceLinesRead, status);
  return status;
}

}  // namespace xpl

int XPLGetModemStatus(int handle, unsigned* status) {
  xpl::XplPort* const port = xpl::findPort(handle);
  if (port == nullptr || status == nullptr) {
    return 0;
  }
  // Hosts rely on it: the raw word of last time is compared with the status word of now.
  const std::optional<unsigned> read = xpl::readModemStatus(port, port->lineCache);
  *status = read.value_or(0);
  return read ? 1 : 0;
}

int XPLSetModemLines(int handle, unsigned request) {
  xpl::XplPort* const port = xpl::findPort(handle);
  const std::optional<std::uint32_t> current = port != nullptr ? xpl::getRawLines(*port) : std::nullopt;
  if (!current) {
    return 0;
  }
  const std::uint32_t raw = xpl::changedLines(*current, request);
  const bool done = xpl::putRawLines(*port, raw);
  port->lineCache = raw;  // Hosts rely on it: a refused set is cached and traced all the same.
  xpl::traceStatus(*port, kXplTraceLinesSet, xpl::statusWord(raw, std::nullopt));
  return done ? 1 : 0;
}
