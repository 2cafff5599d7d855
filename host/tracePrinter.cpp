#include "host/tracePrinter.h"

#include <sys/time.h>

#include <cctype>
#include <cstdio>
#include <ctime>
#include <string>

namespace orvix::host {
namespace {

std::string now() {
  timeval time{};
  gettimeofday(&time, nullptr);
  std::tm local{};
  localtime_r(&time.tv_sec, &local);
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03ld", local.tm_hour, local.tm_min, local.tm_sec,
                static_cast<long>(time.tv_usec / 1000));
  return text;
}

std::string escaped(const unsigned char* bytes, unsigned length) {
  std::string text;
  for (unsigned i = 0; i < length; ++i) {
    char code[8];
    if (bytes[i] == '\r' || bytes[i] == '\n') {
      text += bytes[i] == '\r' ? "\\r" : "\\n";
    } else if (std::isprint(bytes[i]) != 0) {
      text += static_cast<char>(bytes[i]);
    } else {
      std::snprintf(code, sizeof code, "\\x%02x", bytes[i]);
      text += code;
    }
  }
  return text;
}

std::string linesThatAreOn(const unsigned char* bytes) {
  struct Line {
    unsigned bit;
    const char* name;
  };
  static constexpr Line kLines[] = {{kXplDtr, "DTR"}, {kXplRts, "RTS"},     {kXplCts, "CTS"},
                                    {kXplDsr, "DSR"}, {kXplCarrier, "DCD"}, {kXplRing, "RI"}};
  const unsigned status = bytes[0] | static_cast<unsigned>(bytes[1]) << 8;
  std::string text;
  for (const Line& line : kLines) {
    text += (status & line.bit) != 0 ? std::string(" ") + line.name : "";
  }
  return text.empty() ? " none on" : text;
}

int printTraffic(void* /*context*/, int kind, unsigned /*slot*/, const void* data, unsigned length) {
  const auto* const bytes = static_cast<const unsigned char*>(data);
  const std::string time = now();
  if (kind == kXplTraceReceived || kind == kXplTraceSent) {
    std::fprintf(stderr, "%s %c %s\n", time.c_str(), kind == kXplTraceSent ? '>' : '<', escaped(bytes, length).c_str());
  } else {
    std::fprintf(stderr, "%s = lines%s:%s\n", time.c_str(), kind == kXplTraceLinesSet ? " set" : "",
                 linesThatAreOn(bytes).c_str());
  }
  return 0;
}

}  // namespace

XplTraceCallback TracePrinter::GetTraceCallback() {
  return printTraffic;
}

}  // namespace orvix::host
