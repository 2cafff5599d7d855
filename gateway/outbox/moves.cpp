#include "gateway/outbox/moves.h"

#include <algorithm>
#include <limits>

namespace orvix::gateway {
namespace {

constexpr bool canBeEntered(MessageState state) {
  for (const Move& move : kMoves) {
    if (move.to == state || move.toInDoubt == state) {
      return true;
    }
  }
  return false;
}

// An end is within as many moves as there are states.
constexpr bool canEnd(MessageState state, std::size_t moves = kMessageStates) {
  if (isEnded(state)) {
    return true;
  }
  for (const Move& move : kMoves) {
    if (moves != 0 && move.from == state && canEnd(move.to, moves - 1) && canEnd(move.toInDoubt, moves - 1)) {
      return true;
    }
  }
  return false;
}

constexpr bool isPersonal(Cause cause) {
  return cause >= Cause::kSaidResend;
}

constexpr bool areStatesSound() {
  for (std::size_t i = 0; i < kMessageStates; ++i) {
    if (!canBeEntered(static_cast<MessageState>(i)) || !canEnd(static_cast<MessageState>(i))) {
      return false;
    }
  }
  return true;
}

constexpr bool isDoubtKept() {
  for (const Move& move : kMoves) {
    if (isEnded(move.toInDoubt) && move.toInDoubt != MessageState::kSent && !isPersonal(move.cause)) {
      return false;
    }
  }
  return true;
}

constexpr bool areCausesUnique() {
  for (const Move& one : kMoves) {
    int same = 0;
    for (const Move& other : kMoves) {
      same += one.from == other.from && one.cause == other.cause ? 1 : 0;
    }
    if (same != 1) {
      return false;
    }
  }
  return true;
}

static_assert(areStatesSound(), "every state can be entered and can end");
static_assert(isDoubtKept(), "nothing but a person ends a doubt otherwise than sent");
static_assert(areCausesUnique(), "a cause leads to one state");

Outcome outcomeOfRefusal(std::optional<hostkit::ErrorClass> errorClass) {
  switch (errorClass.value_or(hostkit::ErrorClass::kChance)) {
    // No other attempt would end otherwise.
    case hostkit::ErrorClass::kMessage:
      return {Cause::kGivenUp, true, false};
    // No fault of the message: it waits, but loses no attempt.
    case hostkit::ErrorClass::kNetwork:
      return {Cause::kRetry, false, true};
    // The modem is out of service now, so another one may take the message at once.
    case hostkit::ErrorClass::kModem:
      return {Cause::kRetry, false, false};
    case hostkit::ErrorClass::kChance:
    // A doubt is no refusal and never comes here.
    case hostkit::ErrorClass::kDoubt:
      break;
  }
  return {Cause::kRetry, true, true};
}

Outcome outcomeOfVerdict(const AttemptEnd& end, OnUncertain onUncertain) {
  switch (end.verdict) {
    case hostkit::Verdict::kSent:
      return {Cause::kWentOut, true, false};
    case hostkit::Verdict::kRefused:
      return outcomeOfRefusal(end.errorClass);
    // A dead line costs no attempt: an unplugged modem would use up all of them.
    case hostkit::Verdict::kNotSent:
      return {Cause::kRetry, end.hasAnswered, true};
    case hostkit::Verdict::kUncertain:
      break;
  }
  return {onUncertain == OnUncertain::kResend ? Cause::kRetry : Cause::kDoubt, true, true};
}

}  // namespace

Outcome outcomeOf(const AttemptEnd& end, OnUncertain onUncertain, int attempts, const SendingConfig& sending) {
  Outcome outcome = outcomeOfVerdict(end, onUncertain);
  const bool isLast = sending.maxAttempts != 0 && attempts + 1 >= sending.maxAttempts;
  if (outcome.cause == Cause::kRetry && outcome.isCounted && isLast) {
    // The last attempt decides what is said of the message: a doubt is never called failed.
    outcome.cause = end.verdict == hostkit::Verdict::kUncertain ? Cause::kDoubt : Cause::kGivenUp;
  }
  return outcome;
}

std::int64_t retryDelayMs(int retries, const SendingConfig& sending) {
  constexpr int kMostDoublings = 20;  // six days and more
  const std::int64_t limit =
      sending.retryLimitSeconds == 0 ? std::numeric_limits<int>::max() : sending.retryLimitSeconds;
  return std::min(std::int64_t{sending.retrySeconds} << std::min(retries, kMostDoublings), limit) * 1000;
}

}  // namespace orvix::gateway
