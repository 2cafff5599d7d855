#include "simulator/replay.h"

#include <algorithm>
#include <utility>

#include "common/printable.h"

namespace orvix::simulator {

Replay::Replay(Recording played) : recording(std::move(played)) {
  skipToSent(0, 0);
}

// Queues the answers up to the next piece that the client must send; an empty piece waits for nothing. A recorded time
// is when the host read, which it does after its waits alone; the answer came between the piece before it and then.
void Replay::skipToSent(std::int64_t baseMs, std::int64_t baseUs) {
  std::int64_t previousUs = baseUs;
  for (; position < recording.size() && (!recording[position].isSent || recording[position].bytes.empty());
       ++position) {
    const RecordedPiece& piece = recording[position];
    const std::int64_t dueMs = baseMs + ((previousUs + piece.us) / 2 - baseUs) / 1000;
    outputs.push_back({outputs.empty() ? dueMs : std::max(dueMs, outputs.back().dueMs), piece.bytes});
    previousUs = piece.us;
  }
}

void Replay::receive(std::string_view bytes, std::int64_t nowMs) {
  while (!bytes.empty() && !mismatchText) {
    // Piece by piece, since a client's writes and the recorded ones need not have the same borders.
    const std::string_view wanted = position < recording.size() ? recording[position].bytes : std::string_view{};
    const std::string_view rest = wanted.substr(matched);
    const std::size_t count = std::min(rest.size(), bytes.size());
    if (rest.empty() || bytes.substr(0, count) != rest.substr(0, count)) {
      mismatchText =
          "expected " + expected() + ", received \"" + escaped(wanted.substr(0, matched)) + escaped(bytes) + "\"";
      return;
    }
    bytes.remove_prefix(count);
    matched += count;
    endMs = nowMs;
    if (matched == wanted.size()) {
      matched = 0;
      ++position;
      // Answers follow what the client does now, at the distance that they had then.
      skipToSent(nowMs, recording[position - 1].us);
    }
  }
}

std::string Replay::takeOutput(std::int64_t nowMs) {
  std::string due;
  while (!outputs.empty() && outputs.front().dueMs <= nowMs) {
    due += outputs.front().bytes;
    outputs.pop_front();
    endMs = nowMs;
  }
  // Only here, so that whoever takes the last output first sends it.
  isQuiet = isPlayed() && nowMs >= endMs + kReplayLingerMs;
  return due;
}

std::optional<std::int64_t> Replay::nextDueMs() const {
  if (!outputs.empty()) {
    return outputs.front().dueMs;
  }
  return isPlayed() && !isOver() ? std::optional(endMs + kReplayLingerMs) : std::nullopt;
}

bool Replay::isPlayed() const {
  return position == recording.size() && outputs.empty();
}

bool Replay::isOver() const {
  return isQuiet || mismatchText.has_value();
}

const std::optional<std::string>& Replay::mismatch() const {
  return mismatchText;
}

std::string Replay::expected() const {
  if (position == recording.size()) {
    return "its end";
  }
  return "line " + std::to_string(recording[position].line) + ": \"" + escaped(recording[position].bytes) + "\"";
}

}  // namespace orvix::simulator
