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

struct BaudRate {
  long baud;
  speed_t speed;
};

constexpr BaudRate kBaudRates[] = {
    {50, B50},     {75, B75},       {110, B110},     {134, B134},     {150, B150},       {200, B200},
    {300, B300},   {600, B600},     {1200, B1200},   {1800, B1800},   {2400, B2400},     {4800, B4800},
    {9600, B9600}, {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}, {230400, B230400},
};

struct Parity {
  unsigned char name;
  tcflag_t control;
  tcflag_t input;
};

constexpr Parity kParities[] = {{'n', 0, IGNPAR}, {'e', PARENB, INPCK}, {'o', PARENB | PARODD, INPCK}};

struct BitCount {
  long bits;
  tcflag_t control;
};

constexpr BitCount kDataBits[] = {{5, CS5}, {6, CS6}, {7, CS7}, {8, CS8}};
constexpr BitCount kStopBits[] = {{1, 0}, {2, CSTOPB}};

// A number that an int cannot hold is shown as the nearest one: the same on 32-bit and 64-bit systems.
int shown(long value) {
  return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

template <std::size_t N>
const BitCount* findBits(const BitCount (&table)[N], long bits) {
  const auto found =
      std::find_if(std::begin(table), std::end(table), [=](const BitCount& row) { return row.bits == bits; });
  return found != std::end(table) ? found : nullptr;
}

void reportInvalidString(const char* text, std::size_t length) {
  constexpr char kMessage[] = "invalid comstr: ";
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
  Settings read;  // NOLINTNEXTLINE(cert-err34-c): a number out of range is in no table of accepted ones
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

// Stores what is accepted; false when anything was not.
bool storeSettings(const char* path, const Settings& read, XplDcb* dcb) {
  termios unused{};
  bool ok = keepIf(applyBaud(path, read.baud, &unused), read.baud, &dcb->baud);
  ok = keepIf(applyParity(path, read.parity, &unused), read.parity, &dcb->parity) && ok;
  ok = keepIf(applyDataBits(path, read.dataBits, &unused), read.dataBits, &dcb->dataBits) && ok;
  ok = keepIf(applyStopBits(path, read.stopBits, &unused), read.stopBits, &dcb->stopBits) && ok;
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

bool applyBaud(const char* path, long baud, termios* line) {
  const auto rate =
      std::find_if(std::begin(kBaudRates), std::end(kBaudRates), [=](const BaudRate& row) { return row.baud == baud; });
  if (rate == std::end(kBaudRates)) {
    XDbgError("%s: invalid baudrate: %ld", path, baud);
    return false;
  }
  return cfsetispeed(line, rate->speed) == 0 && cfsetospeed(line, rate->speed) == 0;
}

bool applyParity(const char* path, unsigned char parity, termios* line) {
  const int name = std::tolower(parity);
  const auto found =
      std::find_if(std::begin(kParities), std::end(kParities), [=](const Parity& row) { return row.name == name; });
  if (found == std::end(kParities)) {
    XDbgError("%s: invalid parity: %c", path, parity);
    return false;
  }
  line->c_cflag |= found->control;
  line->c_iflag |= found->input;
  return true;
}

bool applyDataBits(const char* path, long dataBits, termios* line) {
  const BitCount* const found = findBits(kDataBits, dataBits);
  if (found == nullptr) {
    XDbgError("%s: invalid databits: %d", path, shown(dataBits));
    return false;
  }
  line->c_cflag |= found->control;
  return true;
}

bool applyStopBits(const char* path, long stopBits, termios* line) {
  const BitCount* const found = findBits(kStopBits, stopBits);
  if (found == nullptr) {
    XDbgError("%s: invalid stopbits: %d", path, shown(stopBits));
    return false;
  }
  line->c_cflag |= found->control;
  return true;
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
  *dcb = templ != nullptr ? *templ : xpl::freshBlock();
  xpl::storeString(connectionString, length, dcb);
  const xpl::SplitString parts = xpl::splitConnectionString(*dcb);
  if (!parts.fits) {
    return 0;
  }
  const bool accepted = xpl::storeSettings(parts.path, xpl::readSettings(parts.settings), dcb);
  return templ != nullptr || (parts.split && accepted) ? 1 : 0;
}
