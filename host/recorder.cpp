#include "host/recorder.h"

#include <cerrno>
#include <cstring>

#include "host/exitCode.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

const char* nameOf(XplTraceKind kind) {
  switch (kind) {
    case kXplTraceReceived:
      return "received";
    case kXplTraceSent:
      return "sent";
    case kXplTraceLinesRead:
      return "linesRead";
    case kXplTraceLinesSet:
      return "linesSet";
  }
  return "unknown";
}

}  // namespace

Recorder::Recorder(const std::string& file, const std::string& line) : output(file, std::ios::trunc) {
  output << R"({"format": "orvix-gsm-recording", "version": 1, "line": )" << program::jsonString(line) << "}"
         << std::endl;
  if (hasFailed()) {
    throw Failure(kInternal, "cannot record to " + file + ": " + std::strerror(errno));
  }
}

void Recorder::onTraffic(XplTraceKind kind, std::string_view bytes) {
  using namespace std::chrono;
  const bool isLines = kind == kXplTraceLinesRead || kind == kXplTraceLinesSet;
  output << R"({"us": )" << duration_cast<microseconds>(steady_clock::now() - begin).count() << R"(, "kind": ")"
         << nameOf(kind) << R"(", "hex": ")" << hexText(bytes) << R"(", "text": )"
         << program::jsonString(isLines ? linesThatAreOn(bytes).substr(1) : escaped(bytes)) << "}" << std::endl;
}

}  // namespace orvix::host
