// A message, its attempts, and the words by which the world knows their states. Plain values; any thread.
//
// Times are milliseconds of service time: see gateway/service/clock.h. They become wall-clock times only where they are
// shown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hostkit/verdict.h"

namespace orvix::gateway {

// The order is the database's: append only.
enum class MessageState { kQueued, kAttempting, kSent, kFailed, kUncertain, kExpired, kCancelled };
inline constexpr std::size_t kMessageStates = 7;
enum class Priority { kAlarm, kNormal, kBulk };
enum class OnUncertain { kHold, kResend };

// "queued", "alarm", "hold" and so on; from a word, nothing when there is no such.
const char* wordOf(MessageState state);
const char* wordOf(Priority priority);
const char* wordOf(OnUncertain onUncertain);
const char* wordOf(hostkit::Verdict verdict);
std::optional<MessageState> messageStateOf(const std::string& word);
std::optional<Priority> priorityOf(const std::string& word);
std::optional<OnUncertain> onUncertainOf(const std::string& word);

struct Attempt {
  int number = 0;  // from 1 within its message
  std::string modem;
  std::int64_t startedMs = 0;
  std::optional<std::int64_t> endedMs;
  std::optional<hostkit::Verdict> verdict;  // none while it runs
  std::optional<int> reference;
  std::optional<int> code;
  std::string reason;  // for people; "" when there is nothing to say
};

struct Message {
  std::int64_t sequence = 0;  // first come, lowest number
  std::string id;
  std::string owner;  // "socket", "mqtt", or "token:" and the token's name
  std::string to;
  std::string text;
  Priority priority = Priority::kNormal;
  MessageState state = MessageState::kQueued;
  OnUncertain onUncertain = OnUncertain::kHold;
  std::optional<std::string> wantedModem;  // the only modem that may take it
  std::optional<std::string> modem;        // of the last attempt
  std::optional<int> reference;
  std::optional<int> code;
  std::string reason;
  std::optional<std::int64_t> dueMs;  // waits until then; none: as soon as a modem is free
  std::int64_t acceptedMs = 0;
  std::int64_t expiresMs = 0;
  std::optional<std::int64_t> endedMs;
  std::vector<Attempt> attempts;
};

}  // namespace orvix::gateway
