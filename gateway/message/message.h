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

// The order is the database's, which holds the numbers: append only.
//
//  kQueued      waits for a modem, a retry or a budget
//  kAttempting  a modem has it
//  kSent        a modem took it for the network, or a person knows that it arrived
//  kFailed      no further attempt would help, or is allowed; or a person dropped it
//  kUncertain   an attempt may have gone out; a person decides
//  kExpired     its time was over before it was given to a modem, or to another one
//  kCancelled   its owner took it back
enum class MessageState { kQueued, kAttempting, kSent, kFailed, kUncertain, kExpired, kCancelled };
inline constexpr std::size_t kMessageStates = 7;
// What is more urgent is less: the queue sorts by the number.
enum class Priority { kAlarm, kNormal, kBulk };
// What is done after an attempt that may have gone out: wait for a person, or risk that it arrives twice.
enum class OnUncertain { kHold, kResend };

// "queued", "alarm", "hold" and so on: the words of the HTTP API, the topics and the metrics, which never change; from
// a word, nothing when there is no such.
// Static texts. A number that is no state, priority or wish throws std::out_of_range; one that is no verdict reads as
// uncertain.
const char* wordOf(MessageState state);
const char* wordOf(Priority priority);
const char* wordOf(OnUncertain onUncertain);
const char* wordOf(hostkit::Verdict verdict);
std::optional<MessageState> messageStateOf(const std::string& word);
std::optional<Priority> priorityOf(const std::string& word);
std::optional<OnUncertain> onUncertainOf(const std::string& word);

// One time that a message was given to a modem. What is not known, or not yet, is none.
struct Attempt {
  int number = 0;  // from 1 within its message
  std::string modem;
  std::int64_t startedMs = 0;
  std::optional<std::int64_t> endedMs;
  std::optional<hostkit::Verdict> verdict;  // none while it runs
  // The reference of +CMGS: (TP-MR, 0 to 255), and the number of +CMS ERROR: or +CME ERROR:.
  std::optional<int> reference;
  std::optional<int> code;
  std::string reason;  // for people; "" when there is nothing to say
};

// A message as the outbox holds it. Id, owner, number, text and priority stay; the rest may differ at the next look.
struct Message {
  std::int64_t sequence = 0;  // first come, lowest number
  std::string id;
  std::string owner;  // "socket", "mqtt", or "token:" and the token's name
  // 3 to 20 digits, with a + before them or not. The text was found fit for the charset of at least one modem.
  std::string to;
  // As it goes out: transliterated and with its part's number where the service made either, 1 to 160 septets.
  std::string text;
  Priority priority = Priority::kNormal;
  MessageState state = MessageState::kQueued;
  OnUncertain onUncertain = OnUncertain::kHold;
  std::optional<std::string> wantedModem;  // the only modem that may take it
  std::optional<std::string> modem;        // of the last attempt
  // Of the attempt that ended last.
  std::optional<int> reference;
  std::optional<int> code;
  std::string reason;                 // for people; "" when there is nothing to say
  std::optional<std::int64_t> dueMs;  // waits until then; none: as soon as a modem is free
  std::int64_t acceptedMs = 0;
  // Still queued at that time, it expires; no attempt is broken off for it.
  std::int64_t expiresMs = 0;
  std::optional<std::int64_t> endedMs;
  // Oldest first; only the last one can still be running.
  std::vector<Attempt> attempts;
};

}  // namespace orvix::gateway
