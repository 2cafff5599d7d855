#include "simulator/recording.h"

#include <optional>
#include <utility>

#include "common/printable.h"
#include "simulator/json.h"

namespace orvix::simulator {
namespace {

constexpr std::string_view kFormat = "orvix-gsm-recording";
constexpr std::int64_t kVersion = 1;
// 31 years: far above any recording, and far below what overflows in a sum of two.
constexpr std::int64_t kLargestUs = 1'000'000'000'000'000;

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
  // The other two are records of modem lines, which no replay needs.
  if (text == "sent" || text == "received") {
    return true;
  }
  if (text != "linesRead" && text != "linesSet") {
    kind.refuse("must be sent, received, linesRead or linesSet");
  }
  return false;
}

// None for a record of modem lines.
std::optional<RecordedPiece> pieceOf(const std::vector<JsonValue>& record, std::size_t line, std::int64_t earliestUs) {
  const JsonValue kind = find(record, "kind");
  const JsonValue hex = find(record, "hex");
  // Times never fall: a file whose lines were exchanged is refused here.
  const std::int64_t us = find(record, "us").integer(earliestUs, kLargestUs);
  const std::optional<std::string> bytes = bytesOfHex(hex.text());
  if (!bytes) {
    hex.refuse("must be two hexadecimal digits a byte");
  }
  return isTraffic(kind) ? std::optional<RecordedPiece>({line, us, kind.text() == "sent", *bytes}) : std::nullopt;
}

std::optional<RecordedPiece> readLine(const std::string& text, std::size_t line, std::int64_t earliestUs) {
  const JsonDocument document(text);
  // A file that does not begin with the header is none of ours.
  if (line == 1) {
    checkHeader(document.members());
    return std::nullopt;
  }
  return pieceOf(document.members(), line, earliestUs);
}

}  // namespace

Recording readRecording(std::istream& file) {
  Recording recording;
  std::size_t line = 0;
  for (std::string text; std::getline(file, text);) {
    ++line;
    try {
      if (std::optional<RecordedPiece> piece = readLine(text, line, recording.empty() ? 0 : recording.back().us)) {
        recording.push_back(*std::move(piece));
      }
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
