#include "simulator/recording.h"

#include <limits>
#include <optional>

#include "common/printable.h"
#include "simulator/json.h"

namespace orvix::simulator {
namespace {

constexpr std::string_view kFormat = "orvix-gsm-recording";
constexpr std::int64_t kVersion = 1;
constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

JsonValue find(const std::vector<JsonValue>& members, std::string_view key) {
  for (const JsonValue& member : members) {
    if (member.key() == key) {
      return member;
    }
  }
  throw JsonError(std::string(key) + ": missing");
}

void checkHeader(const std::vector<JsonValue>& header) {
  const JsonValue format = find(header, "format");
  if (format.text() != kFormat) {
    format.refuse("must be " + std::string(kFormat));
  }
  find(header, "version").integer(kVersion, kVersion);
}

bool isTraffic(const JsonValue& kind) {
  const std::string text = kind.text();
  if (text == "sent" || text == "received") {
    return true;
  }
  if (text != "linesRead" && text != "linesSet") {
    kind.refuse("must be sent, received, linesRead or linesSet");
  }
  return false;
}

void readRecord(const std::vector<JsonValue>& record, std::size_t line, Recording& recording) {
  const JsonValue kind = find(record, "kind");
  const JsonValue hex = find(record, "hex");
  const std::int64_t earliest = recording.empty() ? 0 : recording.back().us;
  const std::int64_t us = find(record, "us").integer(earliest, kLargest);
  const std::optional<std::string> bytes = bytesOfHex(hex.text());
  if (!bytes) {
    hex.refuse("must be two hexadecimal digits a byte");
  }
  if (isTraffic(kind)) {
    recording.push_back({line, us, kind.text() == "sent", *bytes});
  }
}

void readLine(const std::string& text, std::size_t line, Recording& recording) {
  const JsonDocument document(text);
  if (line == 1) {
    checkHeader(document.members());
  } else {
    readRecord(document.members(), line, recording);
  }
}

}  // namespace

Recording readRecording(std::istream& file) {
  Recording recording;
  std::size_t line = 0;
  for (std::string text; std::getline(file, text);) {
    ++line;
    try {
      readLine(text, line, recording);
    } catch (const JsonError& error) {
      throw std::runtime_error("line " + std::to_string(line) + ": " + error.what());
    }
  }
  if (line == 0) {
    throw std::runtime_error("line 1: missing");
  }
  return recording;
}

}  // namespace orvix::simulator
