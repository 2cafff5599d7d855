// Plays the modem's side of a recording: checks what the client sends against what was sent then, and answers as the
// modem did, in the middle between the piece before an answer and the time at which the host read it. One thread at a
// time.
//
// How the client's bytes fall into pieces does not matter, nor whether it sends a little sooner than in the recording,
// before the last answer is out: a client that polls at other moments is no other client. What comes in front of
// everything that was sent follows the moment of switching on.
#pragma once

#include <deque>
#include <optional>
#include <string>

#include "simulator/dce.h"
#include "simulator/recording.h"

namespace orvix::simulator {

// After the last answer a client may still break the recording for this long.
constexpr std::int64_t kReplayLingerMs = 500;

class Replay : public Dce {
 public:
  // Switched on at 0 ms, as a modem is; plays once.
  explicit Replay(Recording played);

  void receive(std::string_view bytes, std::int64_t nowMs) override;
  std::string takeOutput(std::int64_t nowMs) override;
  std::optional<std::int64_t> nextDueMs() const override;

  // All was played, or the client left the recording.
  bool isOver() const override;

  // Where the client departed from the recording: its line, what was expected and what came, printable. None when it
  // did not.
  const std::optional<std::string>& mismatch() const;

  // What the recording waits for, as "line <n>: <bytes>", printable, or "its end".
  std::string expected() const;

 private:
  // Bytes of the modem's side, still to be sent.
  struct Output {
    std::int64_t dueMs;
    std::string bytes;
  };

  // Goes on to the next piece of the client and queues the answers before it, counted from that moment of the replay
  // and of the recording.
  void skipToSent(std::int64_t baseMs, std::int64_t baseUs);
  bool isPlayed() const;

  const Recording recording;
  std::size_t position = 0;    // of the next piece that the client must send
  std::size_t matched = 0;     // bytes of that piece that came already
  std::deque<Output> outputs;  // due times never fall from front to back
  std::int64_t endMs = 0;      // of the latest output or input
  bool isQuiet = false;        // played, and the time to linger is over
  std::optional<std::string> mismatchText;
};

}  // namespace orvix::simulator
