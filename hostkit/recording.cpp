#include "hostkit/recording.h"

#include <nlohmann/json.hpp>

#include "common/printable.h"

namespace orvix::hostkit {
namespace {

using Json = nlohmann::ordered_json;

const char* kindName(XplTraceKind kind) {
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

// A line's name may be anything that a file system takes.
std::string lineOf(const Json& document) {
  return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string recordingHeader(const std::string& line) {
  return lineOf({{"format", "orvix-gsm-recording"}, {"version", 1}, {"line", line}});
}

std::string recordingOf(const TrafficPiece& piece, std::int64_t beginUs) {
  const bool isLines = piece.kind == kXplTraceLinesRead || piece.kind == kXplTraceLinesSet;
  return lineOf({{"us", piece.us - beginUs},
                 {"kind", kindName(piece.kind)},
                 {"hex", hexText(piece.bytes)},
                 {"text", isLines ? linesThatAreOn(piece.bytes) : escaped(piece.bytes)}});
}

std::string recordingOf(const std::vector<TrafficPiece>& traffic, const std::string& line) {
  std::string text = recordingHeader(line);
  for (const TrafficPiece& piece : traffic) {
    // Times count from the first piece, as in a file of its own.
    text += recordingOf(piece, traffic.front().us);
  }
  return text;
}

}  // namespace orvix::hostkit
