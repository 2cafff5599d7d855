#include "simulator/outputQueue.h"

#include <algorithm>
#include <utility>

namespace orvix::simulator {

void OutputQueue::add(std::string_view bytes, std::int64_t dueMs) {
  // As a whole: half a reply would be another reply.
  if (pendingBytes + bytes.size() > kMaxPendingOutput) {
    return;
  }
  pendingBytes += bytes.size();
  // Echo comes byte by byte: what is due at the same time shares one entry. Nothing is added to a hang-up.
  if (outputs.empty() || outputs.back().dueMs < dueMs || outputs.back().hangUpMs) {
    outputs.push_back({inOrder(dueMs), {}});
  }
  outputs.back().bytes += bytes;
}

void OutputQueue::addHangUp(std::int64_t dueMs, std::int64_t forMs) {
  outputs.push_back({inOrder(dueMs), {}, forMs});
}

void OutputQueue::clear() {
  outputs.clear();
  pendingBytes = 0;
}

OutputQueue::Due OutputQueue::take(std::int64_t nowMs) {
  Due due;
  while (!outputs.empty() && outputs.front().dueMs <= nowMs) {
    const Output output = std::move(outputs.front());
    outputs.pop_front();
    due.bytes += output.bytes;
    pendingBytes -= output.bytes.size();
    if (output.hangUpMs) {
      // Nothing of before outlives the power.
      clear();
      due.hungUpMs = output.dueMs;
      due.returnMs = output.dueMs + *output.hangUpMs;
    }
  }
  return due;
}

std::optional<std::int64_t> OutputQueue::nextDueMs() const {
  return outputs.empty() ? std::nullopt : std::optional(outputs.front().dueMs);
}

std::int64_t OutputQueue::inOrder(std::int64_t dueMs) const {
  return outputs.empty() ? dueMs : std::max(dueMs, outputs.back().dueMs);
}

}  // namespace orvix::simulator
