// The life of a message: every move there is, and what follows from the end of an attempt. Internal. Pure functions;
// any thread.
//
// What is not in the table cannot happen: one function makes all moves and throws for any other. moves.cpp asserts at
// compile time that every state can be entered and can end, and that no doubt ends by itself otherwise than sent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "gateway/config/config.h"
#include "gateway/message/message.h"
#include "gateway/outbox/outbox.h"

namespace orvix::gateway {

// Why a message moves. Each belongs to one state, which it leads away from.
enum class Cause {
  kBegun,       // a modem takes it
  kWentOut,     // the modem said so
  kRetry,       // the attempt may be made again
  kGivenUp,     // no further attempt would help, or is allowed
  kDoubt,       // the attempt may have gone out
  kTimeIsOver,  // it expires
  kTakenBack,   // it is cancelled
  kSaidResend,  // by a person, as the next two
  kSaidSent,
  kSaidDrop,
};

// One row of the table.
// A state and a cause stand in one row at most, so the order of the rows means nothing.
struct Move {
  MessageState from;
  Cause cause;
  MessageState to;
  // When an attempt of it is uncertain: only a person ends that otherwise than sent.
  MessageState toInDoubt;
};

// Every move that a message can make. Read it from its left: in this state, for this reason, to that state.
inline constexpr Move kMoves[] = {
    {MessageState::kQueued, Cause::kBegun, MessageState::kAttempting, MessageState::kAttempting},
    {MessageState::kQueued, Cause::kTimeIsOver, MessageState::kExpired, MessageState::kUncertain},
    {MessageState::kQueued, Cause::kTakenBack, MessageState::kCancelled, MessageState::kUncertain},
    {MessageState::kAttempting, Cause::kWentOut, MessageState::kSent, MessageState::kSent},
    {MessageState::kAttempting, Cause::kRetry, MessageState::kQueued, MessageState::kQueued},
    {MessageState::kAttempting, Cause::kGivenUp, MessageState::kFailed, MessageState::kUncertain},
    {MessageState::kAttempting, Cause::kDoubt, MessageState::kUncertain, MessageState::kUncertain},
    {MessageState::kUncertain, Cause::kSaidResend, MessageState::kQueued, MessageState::kQueued},
    {MessageState::kUncertain, Cause::kSaidSent, MessageState::kSent, MessageState::kSent},
    {MessageState::kUncertain, Cause::kSaidDrop, MessageState::kFailed, MessageState::kFailed},
};

// Where a cause leads; none when there is no such move.
constexpr std::optional<MessageState> stateAfter(MessageState from, Cause cause, bool isInDoubt) {
  for (const Move& move : kMoves) {
    if (move.from == from && move.cause == cause) {
      return isInDoubt ? move.toInDoubt : move.to;
    }
  }
  return std::nullopt;
}

// Nothing moves out of it any more: these states have a time at which they ended, and are purged after keepDays.
// Uncertain is not among them: a person's moves lead out of it, and what is uncertain is never purged.
constexpr bool isEnded(MessageState state) {
  for (const Move& move : kMoves) {
    if (move.from == state) {
      return false;
    }
  }
  return true;
}

// What the end of an attempt brings about: a move, and how the next attempt is affected.
struct Outcome {
  Cause cause = Cause::kRetry;
  bool isCounted = false;  // as one of maxAttempts; what is no fault of the message is not
  bool waits = false;      // kRetry: for its retry time, else it is free at once
};

// `attempts`: those that counted before this one. At maxAttempts a retry becomes the end: failed, or uncertain when
// this attempt was.
//
//   sent       kWentOut
//   refused    by the class of its error: message gives up; network is a retry that is not counted and waits; modem one
//              that is not counted and free at once, for another modem; chance, or no class, a counted one that waits
//   notSent    a retry that waits, counted when the modem had answered
//   uncertain  kDoubt; with OnUncertain::kResend a counted retry that waits
Outcome outcomeOf(const AttemptEnd& end, OnUncertain onUncertain, int attempts, const SendingConfig& sending);

// How long to wait after that many retries in a row, from 0: retrySeconds, doubled with each of them up to
// retryLimitSeconds.
// At least one second; doubled 20 times at most, so that nothing overflows where the limit is 0, for none.
std::int64_t retryDelayMs(int retries, const SendingConfig& sending);

}  // namespace orvix::gateway
