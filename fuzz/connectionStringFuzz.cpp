// Any text as a connection string, and the bytes after its NUL as a template; the null device is opened for real.

#include <cstring>

#include "debug/xdbg.h"
#include "fuzz/fuzz.h"
#include "serial/xpl.h"

namespace {

constexpr char kNullDevice[] = "/dev/null:";

int swallow(int /*level*/, int /*route*/, const char* text, unsigned bufferSize) {
  fuzz::require(std::strlen(text) < bufferSize, "a report is a text");
  return 0;
}

// No other device of this machine is opened; a block that names none is refused before that.
bool isHarmless(const XplDcb& dcb) {
  const bool fits = std::memchr(dcb.connectionString, '\0', sizeof dcb.connectionString) != nullptr;
  return !fits || std::strchr(dcb.connectionString, ':') == nullptr ||
         std::strncmp(dcb.connectionString, kNullDevice, sizeof kNullDevice - 1) == 0;
}

void openIfHarmless(const XplDcb& dcb, bool isAccepted) {
  if (!isHarmless(dcb)) {
    return;
  }
  const auto receiveSize = static_cast<unsigned>(dcb.reserved3) % 256;
  const int handle = XPLOpen(&dcb, receiveSize, 0, nullptr, nullptr);
  fuzz::require(handle > 0 || !isAccepted, "what was accepted opens");
  unsigned status = 0;
  char buffer[16];
  XPLSetModemLines(handle, receiveSize);
  XPLGetModemStatus(handle, &status);
  XPLWrite(handle, buffer, 0);
  fuzz::require(XPLRead(handle, buffer, sizeof buffer) == 0, "the null device has nothing to read");
  XPLPurgeInput(handle);
  fuzz::require(XPLClose(handle) == 1, "closing succeeds");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  XDbgSetReportHook(swallow);
  XDbgSetOutputs(kXDbgToStream, nullptr);
  const std::string all(reinterpret_cast<const char*>(data), size);
  const std::string text = all.substr(0, all.find('\0'));
  XplDcb templ{};
  if (text.size() < size) {
    std::memcpy(&templ, &all[text.size() + 1], std::min(sizeof templ, size - text.size() - 1));
  }
  XplDcb fresh{};
  const bool isFreshBuilt = XPLBuildDCB(text.c_str(), &fresh, nullptr) == 1;
  fuzz::require(!isFreshBuilt || (fresh.baud >= 50 && fresh.dataBits >= 5 && fresh.stopBits >= 1), "settings are set");
  openIfHarmless(fresh, isFreshBuilt);
  XplDcb filled{};
  const bool isFilled = XPLBuildDCB(text.c_str(), &filled, &templ) == 1;
  fuzz::require(!isFreshBuilt || isFilled || templ.connectionString[127] != '\0', "a template takes nothing away");
  openIfHarmless(filled, false);
  openIfHarmless(templ, false);
  return 0;
}
