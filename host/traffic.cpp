#include "host/traffic.h"

#include <cctype>

namespace orvix::host {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

std::string hexByte(unsigned char byte) {
  return {kDigits[byte >> 4], kDigits[byte & 0xF]};
}

std::string escapedByte(unsigned char byte) {
  switch (byte) {
    case '\r':
      return "\\r";
    case '\n':
      return "\\n";
    case '\\':
      return "\\\\";
    default:
      return std::isprint(byte) != 0 ? std::string(1, static_cast<char>(byte)) : "\\x" + hexByte(byte);
  }
}

}  // namespace

std::string escaped(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += escapedByte(static_cast<unsigned char>(byte));
  }
  return text;
}

std::string hexText(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += hexByte(static_cast<unsigned char>(byte));
  }
  return text;
}

std::string linesThatAreOn(std::string_view bytes) {
  struct Line {
    unsigned bit;
    const char* name;
  };
  static constexpr Line kLines[] = {{kXplDtr, "DTR"}, {kXplRts, "RTS"},     {kXplCts, "CTS"},
                                    {kXplDsr, "DSR"}, {kXplCarrier, "DCD"}, {kXplRing, "RI"}};
  unsigned status = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) {
    status = status << 8 | static_cast<unsigned char>(bytes[i]);
  }
  std::string text;
  for (const Line& line : kLines) {
    text += (status & line.bit) != 0 ? std::string(" ") + line.name : "";
  }
  return text.empty() ? " none on" : text;
}

XplTraceCallback LineTrace::GetTraceCallback() {
  return handOn;
}

int LineTrace::handOn(void* context, int kind, unsigned /*slot*/, const void* data, unsigned length) {
  for (TrafficListener* const listener : static_cast<LineTrace*>(context)->listeners) {
    listener->onTraffic(static_cast<XplTraceKind>(kind), {static_cast<const char*>(data), length});
  }
  return 0;
}

}  // namespace orvix::host
