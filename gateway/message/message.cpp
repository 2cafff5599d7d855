#include "gateway/message/message.h"

#include <array>
#include <cstddef>

namespace orvix::gateway {
namespace {

// In the order of the enumerations: a value is the place of its word.
constexpr std::array<const char*, kMessageStates> kStates{"queued",    "attempting", "sent",     "failed",
                                                          "uncertain", "expired",    "cancelled"};
constexpr std::array<const char*, 3> kPriorities{"alarm", "normal", "bulk"};
constexpr std::array<const char*, 2> kOnUncertainWords{"hold", "resend"};

static_assert(static_cast<std::size_t>(MessageState::kCancelled) + 1 == kStates.size());
static_assert(static_cast<std::size_t>(Priority::kBulk) + 1 == kPriorities.size());
static_assert(static_cast<std::size_t>(OnUncertain::kResend) + 1 == kOnUncertainWords.size());

template <typename Value, std::size_t kSize>
std::optional<Value> valueOf(const std::string& word, const std::array<const char*, kSize>& words) {
  for (std::size_t i = 0; i < kSize; ++i) {
    if (word == words.at(i)) {
      return static_cast<Value>(i);
    }
  }
  return std::nullopt;
}

}  // namespace

// at() throws for a number that a damaged database may hold, rather than reading beyond the table.
const char* wordOf(MessageState state) {
  return kStates.at(static_cast<std::size_t>(state));
}

const char* wordOf(Priority priority) {
  return kPriorities.at(static_cast<std::size_t>(priority));
}

const char* wordOf(OnUncertain onUncertain) {
  return kOnUncertainWords.at(static_cast<std::size_t>(onUncertain));
}

const char* wordOf(hostkit::Verdict verdict) {
  return hostkit::verdictName(verdict);
}

std::optional<MessageState> messageStateOf(const std::string& word) {
  return valueOf<MessageState>(word, kStates);
}

std::optional<Priority> priorityOf(const std::string& word) {
  return valueOf<Priority>(word, kPriorities);
}

std::optional<OnUncertain> onUncertainOf(const std::string& word) {
  return valueOf<OnUncertain>(word, kOnUncertainWords);
}

}  // namespace orvix::gateway
