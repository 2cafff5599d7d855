#include "serial/dcb.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "debug/xdbg.h"

static_assert(sizeof(XplDcb) == 128 + 11 * sizeof(std::int32_t), "the control block is copied whole by its users");

namespace xpl {
namespace {

// A row of a table of accepted values: the value as a connection string names it and what termios calls it.
struct BaudRate {
  long value;
  speed_t speed;
};

constexpr BaudRate kBaudRates[] = {
    {50, B50},     {75, B75},       {110, B110},     {134, B134},     {150, B150},       {200, B200},
    {300, B300},   {600, B600},     {1200, B1200},   {1800, B1800},   {2400, B2400},     {4800, B4800},
    {9600, B9600}, {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}, {230400, B230400},
};

struct Parity {
  int value;  // in lower case
  tcflag_t control;
  tcflag_t input;
};

// Without parity a byte with a bad frame is dropped (IGNPAR); with it a byte in error reads as NUL (INPCK alone).
constexpr Parity kParities[] = {{'n', 0, IGNPAR}, {'e', PARENB, INPCK}, {'o', PARENB | PARODD, INPCK}};

struct BitCount {
  long value;
  tcflag_t control;
};

constexpr BitCount kDataBits[] = {{5, CS5}, {6, CS6}, {7, CS7}, {8, CS8}};
constexpr BitCount kStopBits[] = {{1, 0}, {2, CSTOPB}};

// The row of that value; null when the table has none.
template <typename Row, std::size_t kCount, typename Value>
const Row* findRow(const Row (&table)[kCount], Value value) {
  const auto found =
      std::find_if(std::begin(table), std::end(table), [=](const Row& row) { return row.value == value; });
  return found != std::end(table) ? found : nullptr;
}

// A number that an int cannot hold is shown as the nearest one: the same on 32-bit and 64-bit systems.
int shown(long value) {
  return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

// Each gives the row of an accepted setting, or null and a report that names the path.
const BaudRate* findBaud(const char* path, long baud) {
  const BaudRate* const found = findRow(kBaudRates, baud);
  if (found == nullptr) {
    XDbgError("%s: invalid baudrate: %ld", path, baud);
  }
  return found;
}

const Parity* findParity(const char* path, unsigned char parity) {
  const Parity* const found = findRow(kParities, std::tolower(parity));
  if (found == nullptr) {
    XDbgError("%s: invalid parity: %c", path, parity);
  }
  return found;
}

const BitCount* findDataBits(const char* path, long bits) {
  const BitCount* const found = findRow(kDataBits, bits);
  if (found == nullptr) {
    XDbgError("%s: invalid databits: %d", path, shown(bits));
  }
  return found;
}

const BitCount* findStopBits(const char* path, long bits) {
  const BitCount* const found = findRow(kStopBits, bits);
  if (found == nullptr) {
    XDbgError("%s: invalid stopbits: %d", path, shown(bits));
  }
  return found;
}

void reportInvalidString(const char* text, std::size_t length) {
  constexpr char kMessage[] = "invalid comstr: ";
  // As much of the string as a report holds.
  constexpr std::size_t kRoom = kXDbgMessageSize - sizeof kMessage;
  XDbgError("%s%.*s", kMessage, static_cast<int>(std::min(length, kRoom)), text);
}

// What the settings part of a string says; a setting that is missing keeps a value that is never accepted.
struct Settings {
  long baud = -1;
  unsigned char parity = 0xFF;
  long dataBits = -1;
  long stopBits = -1;
};

Settings readSettings(const char* text) {
  Settings read;
  // Fields in their order: the first that does not read leaves all after it missing.
  // NOLINTNEXTLINE(cert-err34-c): a number out of range is in no table of accepted ones
  std::sscanf(text, "%ld,%c,%ld,%ld", &read.baud, reinterpret_cast<char*>(&read.parity), &read.dataBits,
              &read.stopBits);
  return read;
}

bool keepIf(bool accepted, long value, std::int32_t* field) {
  if (accepted) {
    *field = static_cast<std::int32_t>(value);
  }
  return accepted;
}

// Stores what is accepted; false when anything was not. Looks at all four, so that every fault is reported at once.
bool storeSettings(const char* path, const Settings& read, XplDcb* dcb) {
  bool ok = keepIf(findBaud(path, read.baud) != nullptr, read.baud, &dcb->baud);
  ok = keepIf(findParity(path, read.parity) != nullptr, read.parity, &dcb->parity) && ok;
  ok = keepIf(findDataBits(path, read.dataBits) != nullptr, read.dataBits, &dcb->dataBits) && ok;
  ok = keepIf(findStopBits(path, read.stopBits) != nullptr, read.stopBits, &dcb->stopBits) && ok;
  return ok;
}

XplDcb freshBlock() {
  XplDcb dcb{};
  dcb.reserved1 = -1;
  std::fill(std::begin(dcb.reserved2), std::end(dcb.reserved2), -1);
  return dcb;
}

// Hosts rely on it: what is kept keeps its index, so the block's own bytes show through where a blank was dropped.
void storeString(const char* text, std::size_t length, XplDcb* dcb) {
  for (std::size_t i = 0; i < length; ++i) {
    if (std::isspace(static_cast<unsigned char>(text[i])) == 0) {
      dcb->connectionString[i] = text[i];
    }
  }
}

}  // namespace

SplitString splitConnectionString(const XplDcb& dcb) {
  const char* const text = dcb.connectionString;
  const std::size_t length = strnlen(text, sizeof dcb.connectionString);
  const auto* const colon = static_cast<const char*>(std::memchr(text, ':', length));
  SplitString parts{length < sizeof dcb.connectionString, false, {}, ""};
  if (!parts.fits || colon == nullptr) {
    reportInvalidString(text, length);
    return parts;
  }
  parts.split = true;
  std::copy(text, colon, parts.path);
  parts.settings = colon + 1;
  return parts;
}

std::optional<termios> lineSettings(const char* path, const XplDcb& dcb) {
  const BaudRate* const baud = findBaud(path, dcb.baud);
  const Parity* const parity = baud != nullptr ? findParity(path, static_cast<unsigned char>(dcb.parity)) : nullptr;
  const BitCount* const dataBits = parity != nullptr ? findDataBits(path, dcb.dataBits) : nullptr;
  const BitCount* const stopBits = dataBits != nullptr ? findStopBits(path, dcb.stopBits) : nullptr;
  if (stopBits == nullptr) {
    return std::nullopt;
  }
  termios line{};  // All control characters 0, so VMIN and VTIME too: a read returns at once with what is there.
  line.c_iflag = parity->input;
  line.c_cflag = CREAD | CLOCAL | parity->control | dataBits->control | stopBits->control;
  cfsetispeed(&line, baud->speed);
  cfsetospeed(&line, baud->speed);
  return line;
}

}  // namespace xpl

int XPLBuildDCB(const char* connectionString, XplDcb* dcb, const XplDcb* templ) {
  if (connectionString == nullptr || dcb == nullptr) {
    return 0;
  }
  const std::size_t length = std::strlen(connectionString);
  if (length >= sizeof dcb->connectionString) {
    xpl::reportInvalidString(connectionString, length);
    return 0;
  }
  // Only now: a string that is too long leaves the block untouched.
  *dcb = templ != nullptr ? *templ : xpl::freshBlock();
  xpl::storeString(connectionString, length, dcb);
  const xpl::SplitString parts = xpl::splitConnectionString(*dcb);
  if (!parts.fits) {
    return 0;
  }
  const bool accepted = xpl::storeSettings(parts.path, xpl::readSettings(parts.settings), dcb);
  return templ != nullptr || (parts.split && accepted) ? 1 : 0;
}
