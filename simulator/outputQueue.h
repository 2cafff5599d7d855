// What a modem still has to send, in order, and when. One thread at a time.
//
// It knows no clock: times are the caller's, in milliseconds. A hang-up stands in the queue among the bytes, since what
// was due before it still arrives and what was due after it does not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace orvix::simulator {

constexpr std::size_t kMaxPendingOutput = 65536;  // bytes; what exceeds them is lost, as on an overrun line

// Bounded: see kMaxPendingOutput.
// Cheap for echo, which comes byte by byte: what is due at one time shares an entry.
class OutputQueue {
 public:
  // Output keeps its order: what is added never overtakes what waits, though it be due sooner.
  // Copied; whole or, where there is no room for all of it, not at all.
  void add(std::string_view bytes, std::int64_t dueMs);
  // At `dueMs` the line goes for `forMs`; what waits after is lost then.
  void addHangUp(std::int64_t dueMs, std::int64_t forMs);
  // As when the power goes.
  void clear();

  // What take() hands over.
  struct Due {
    std::string bytes;
    std::optional<std::int64_t> hungUpMs{};  // a hang-up after the bytes, and when
    std::optional<std::int64_t> returnMs{};  // and its end; nothing waits any more then
  };

  // Everything due by nowMs, up to the first hang-up.
  Due take(std::int64_t nowMs);

  // Of the first that waits; none when nothing does.
  std::optional<std::int64_t> nextDueMs() const;

 private:
  struct Output {
    std::int64_t dueMs;
    std::string bytes;
    std::optional<std::int64_t> hangUpMs{};  // how long the line is gone
  };

  // Not before what was added last.
  std::int64_t inOrder(std::int64_t dueMs) const;

  std::deque<Output> outputs;  // due times never fall from front to back
  std::size_t pendingBytes = 0;
};

}  // namespace orvix::simulator
