// The outbox in virtual time: every move, what follows from each end of an attempt, the order of the queue, budgets and
// retries.
#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <stdexcept>
#include <vector>

#include "tests/world/outboxRoom.h"

namespace orvix::gateway {
namespace {

using hostkit::ErrorClass;
using hostkit::Verdict;

class OutboxTest : public OutboxRoom {
 protected:
  OutboxTest() { open(); }

  // A fresh message in that state, with an uncertain attempt behind it or not.
  std::string in(MessageState state, bool isInDoubt) {
    std::string id = accept("+491");
    if (isInDoubt || state == MessageState::kUncertain) {
      attempt(id, uncertain());
      if (state != MessageState::kUncertain) {
        outbox->resolve(id, Outbox::Resolution::kResend, now);
      }
    }
    bring(id, state);
    return id;
  }

 private:
  void bring(const std::string& id, MessageState state) {
    if (state == MessageState::kAttempting) {
      outbox->beginAttempt(id, "main", now);
    } else if (state == MessageState::kSent || state == MessageState::kFailed) {
      attempt(id, state == MessageState::kSent ? sent() : refusal(ErrorClass::kMessage));
    } else if (state == MessageState::kExpired) {
      outbox->expire(now += kDay);
    } else if (state == MessageState::kCancelled) {
      outbox->cancel(id, now);
    }
  }
};

// Each thing that can be done to a message, in each of its states: what is not in the table changes nothing.
TEST_F(OutboxTest, EveryMoveAndNoOther) {
  using State = MessageState;
  const std::pair<std::string, std::function<void(const std::string&)>> deeds[] = {
      {"begin", [this](const std::string& id) { outbox->beginAttempt(id, "main", now); }},
      {"mark", [this](const std::string& id) { outbox->markMayBeOut(id); }},
      {"sent", [this](const std::string& id) { end(id, sent()); }},
      {"retry", [this](const std::string& id) { end(id, notSent()); }},
      {"give up", [this](const std::string& id) { end(id, refusal(ErrorClass::kMessage)); }},
      {"doubt", [this](const std::string& id) { end(id, uncertain()); }},
      {"expire", [this](const std::string& id) { outbox->expire(outbox->find(id)->expiresMs); }},
      {"cancel", [this](const std::string& id) { outbox->cancel(id, now); }},
      {"say sent", [this](const std::string& id) { outbox->resolve(id, Outbox::Resolution::kSent, now); }},
      {"say resend", [this](const std::string& id) { outbox->resolve(id, Outbox::Resolution::kResend, now); }},
      {"say drop", [this](const std::string& id) { outbox->resolve(id, Outbox::Resolution::kDrop, now); }},
  };
  struct Row {
    State from;
    const char* deed;
    State to;
    State toInDoubt;
  };
  const Row rows[] = {
      {State::kQueued, "begin", State::kAttempting, State::kAttempting},
      {State::kQueued, "expire", State::kExpired, State::kUncertain},
      {State::kQueued, "cancel", State::kCancelled, State::kUncertain},
      {State::kAttempting, "mark", State::kAttempting, State::kAttempting},
      {State::kAttempting, "sent", State::kSent, State::kSent},
      {State::kAttempting, "retry", State::kQueued, State::kQueued},
      {State::kAttempting, "give up", State::kFailed, State::kUncertain},
      {State::kAttempting, "doubt", State::kUncertain, State::kUncertain},
      {State::kUncertain, "say sent", State::kSent, State::kSent},
      {State::kUncertain, "say resend", State::kQueued, State::kQueued},
      {State::kUncertain, "say drop", State::kFailed, State::kFailed},
  };
  for (std::size_t from = 0; from < kMessageStates; ++from) {
    for (const auto& [deed, doIt] : deeds) {
      for (const bool isInDoubt : {false, true}) {
        const std::string id = in(static_cast<State>(from), isInDoubt);
        const Message before = *outbox->find(id);
        const auto row = std::find_if(std::begin(rows), std::end(rows), [&, name = deed](const Row& candidate) {
          return candidate.from == before.state && candidate.deed == name;
        });
        const std::string where = std::string(wordOf(before.state)) + ", " + deed + (isInDoubt ? ", doubt" : "");
        try {
          doIt(id);
        } catch (const std::logic_error&) {
          EXPECT_EQ(row, std::end(rows)) << where;
        }
        const Message after = *outbox->find(id);
        const bool isEnd = after.state == State::kSent || after.state == State::kFailed ||
                           after.state == State::kExpired || after.state == State::kCancelled;
        EXPECT_EQ(after.endedMs.has_value(), isEnd) << where;
        const bool isAttempt = deed == "begin" && row != std::end(rows);
        EXPECT_EQ(after.attempts.size() - before.attempts.size(), isAttempt ? 1U : 0U) << where;
        EXPECT_STREQ(wordOf(after.state), wordOf(row == std::end(rows) ? before.state
                                                 : isInDoubt           ? row->toInDoubt
                                                                       : row->to))
            << where;
      }
    }
  }
}

TEST_F(OutboxTest, WhatFollowsFromAnAttempt) {
  struct Row {
    const char* name;
    AttemptEnd end;
    OnUncertain onUncertain;
    MessageState state;
    std::int64_t waits;  // s, of a queued one
    bool isCounted;
  };
  const auto hold = OnUncertain::kHold;
  const Row rows[] = {
      {"sent", sent(), hold, MessageState::kSent, 0, true},
      {"not sent", notSent(), hold, MessageState::kQueued, 5, true},
      {"a dead line", notSent(false), hold, MessageState::kQueued, 5, false},
      {"message", refusal(ErrorClass::kMessage), hold, MessageState::kFailed, 0, true},
      {"network", refusal(ErrorClass::kNetwork), hold, MessageState::kQueued, 5, false},
      {"modem", refusal(ErrorClass::kModem), hold, MessageState::kQueued, 0, false},
      {"chance", refusal(ErrorClass::kChance), hold, MessageState::kQueued, 5, true},
      {"doubt before the text", refusal(ErrorClass::kDoubt), hold, MessageState::kQueued, 5, true},
      {"refused without a class", verdict(Verdict::kRefused), hold, MessageState::kQueued, 5, true},
      {"uncertain", uncertain(), hold, MessageState::kUncertain, 0, true},
      {"uncertain, resend", uncertain(), OnUncertain::kResend, MessageState::kQueued, 5, true},
  };
  for (const Row& row : rows) {
    for (const int maxAttempts : {0, 1}) {
      sending.maxAttempts = maxAttempts;
      open();
      NewMessage made = message("+491");
      made.onUncertain = row.onUncertain;
      const Message after = attempt(accept(made), row.end);
      const bool isLast = maxAttempts == 1 && row.isCounted && row.state == MessageState::kQueued;
      const MessageState atLast =
          row.end.verdict == Verdict::kUncertain ? MessageState::kUncertain : MessageState::kFailed;
      EXPECT_EQ(after.state, isLast ? atLast : row.state) << row.name << maxAttempts;
      const bool waits = row.waits != 0 && !isLast;
      EXPECT_EQ(after.dueMs.value_or(0), waits ? now + row.waits * kSecond : 0) << row.name << maxAttempts;
      EXPECT_EQ(after.attempts.at(0).verdict, row.end.verdict) << row.name;
      EXPECT_EQ(after.reason, row.end.reason) << row.name;
    }
  }
}

TEST_F(OutboxTest, RetriesWaitTwiceAsLongEachTimeUpToTheLimit) {
  sending.maxAttempts = 9;
  open();
  const std::string id = accept("+491");
  std::vector<std::int64_t> waits;
  while (stateOf(id) == MessageState::kQueued) {
    const Message after = attempt(id, refusal(ErrorClass::kChance));
    if (after.dueMs) {
      waits.push_back((*after.dueMs - now) / kSecond);
      now = *after.dueMs - 1;
      EXPECT_EQ(next(), "");
      EXPECT_EQ(outbox->nextChangeMs(now), now + 1);
      ++now;
      EXPECT_EQ(next(), id);
    }
  }
  EXPECT_EQ(waits, (std::vector<std::int64_t>{5, 10, 20, 40, 80, 160, 300, 300}));
  EXPECT_EQ(stateOf(id), MessageState::kFailed);
}

TEST_F(OutboxTest, APersonsResendGetsItsTimeAndAttemptsAnew) {
  sending.maxAttempts = 1;
  open();
  const std::string id = accept("+491");
  attempt(id, uncertain());
  for (int i = 0; i < 2; ++i) {
    now += 2 * kDay;
    EXPECT_TRUE(outbox->expire(now).empty());
    outbox->resolve(id, Outbox::Resolution::kResend, now);
    EXPECT_EQ(next(), id);
    EXPECT_EQ(outbox->find(id)->expiresMs, now + kDay);
    EXPECT_EQ(attempt(id, refusal(ErrorClass::kMessage)).state, MessageState::kUncertain);
  }
}

TEST_F(OutboxTest, AWaitTellsWhyAndUntilWhen) {
  sending.perRecipient = {1, 60};
  open();
  const std::string first = accept("+491");
  const std::string second = accept("+491");
  EXPECT_FALSE(outbox->find(second)->dueMs);
  outbox->beginAttempt(first, "main", now);
  EXPECT_NE(outbox->find(second)->reason, "");  // until when, nobody knows while the first one runs
  EXPECT_FALSE(outbox->find(second)->dueMs);
  end(first, sent());
  EXPECT_EQ(outbox->find(second)->dueMs, now + 60 * kSecond);
  EXPECT_EQ(outbox->nextChangeMs(now), now + 60 * kSecond);
  now += 60 * kSecond - 1;
  EXPECT_EQ(next(), "");
  EXPECT_EQ(next({"other", hostkit::Charset::kIra, 1}), "");
  ++now;
  EXPECT_EQ(next(), second);
  EXPECT_EQ(outbox->find(second)->reason, "");
  const FreeModem limited{"main", hostkit::Charset::kIra, 1};
  EXPECT_EQ(next(limited), "");
  EXPECT_EQ(next({"other", hostkit::Charset::kIra, 1}), second);
}

// Thousands of messages in a random life, each choice held against the rules as they are told to people.
TEST_F(OutboxTest, TheChoiceIsTheMostUrgentOfWhatMayGo) {
  sending.perRecipient = {3, 600};
  sending.maxAttempts = 3;
  open();
  struct Out {
    std::string to;
    std::string modem;
    bool isAlarm;
    std::int64_t atMs;  // while it runs: for ever
  };
  std::map<std::string, Out> running;
  std::vector<Out> out;
  std::map<std::string, std::int64_t> retryMs;
  const FreeModem modems[] = {{"a", hostkit::Charset::kIra, 60}, {"b", hostkit::Charset::kGsm, 0}};
  std::minstd_rand random(1);
  const auto below = [&](unsigned bound) { return static_cast<int>(random() % bound); };
  const auto isFree = [&](auto isCounted, bool isAlarm, int count, std::int64_t windowMs) {
    const auto used = [&](const Out& one) {
      return isCounted(one) && (one.isAlarm || !isAlarm) && one.atMs > now - windowMs;
    };
    std::ptrdiff_t sum = std::count_if(out.begin(), out.end(), used);
    for (const auto& [id, one] : running) {
      sum += used(one) ? 1 : 0;
    }
    return count == 0 || sum < count;
  };
  const auto mayGo = [&](const Message& message, const FreeModem& modem) {
    const bool isAlarm = message.priority == Priority::kAlarm;
    return retryMs[message.id] <= now && message.wantedModem.value_or(modem.name) == modem.name &&
           hostkit::textFit(message.text, modem.charset).isFit() &&
           isFree([&](const Out& one) { return one.to == message.to; }, isAlarm, 3, 600 * kSecond) &&
           isFree([&](const Out& one) { return one.modem == modem.name; }, isAlarm, modem.perDay, kDay);
  };
  int begun = 0;
  for (int step = 0; step < 3000; ++step) {
    now += below(5) == 0 ? below(20000) : 0;
    for (const Message& expired : outbox->expire(now)) {
      retryMs.erase(expired.id);
    }
    if (const int deed = below(10); deed < 3) {
      NewMessage made = message("+49" + std::to_string(below(6)));
      made.priority = static_cast<Priority>(below(3));
      made.onUncertain = static_cast<OnUncertain>(below(2));
      made.text = below(3) == 0 ? "a@b" : "ab";
      made.wantedModem = below(4) == 0 ? std::optional<std::string>(modems[below(2)].name) : std::nullopt;
      made.expiresMs = now + 1 + below(2000000);
      accept(made);
    } else if (deed < 6 && !running.empty()) {
      const auto one = std::next(running.begin(), below(static_cast<unsigned>(running.size())));
      const auto errorClass = static_cast<ErrorClass>(below(4));
      const AttemptEnd ends[] = {sent(), sent(), uncertain(), notSent(), refusal(errorClass)};
      const Message after = end(one->first, ends[below(5)]);
      retryMs[after.id] = after.state == MessageState::kQueued && after.dueMs ? *after.dueMs : 0;
      if (after.attempts.back().verdict == Verdict::kSent || after.attempts.back().verdict == Verdict::kUncertain) {
        out.push_back(one->second);
        out.back().atMs = now;
      }
      running.erase(one);
    } else if (deed == 6) {
      const std::string id = "m" + std::to_string(1 + below(static_cast<unsigned>(accepted) + 1));
      outbox->cancel(id, now);
      outbox->resolve(id, static_cast<Outbox::Resolution>(below(3)), now);
    } else {
      const FreeModem& modem = modems[below(2)];
      const Message* best = nullptr;
      const std::vector<Message> queued = outbox->list({{}, MessageState::kQueued, 0, 100000}, now);
      for (const Message& candidate : queued) {
        if ((best == nullptr || candidate.priority < best->priority) && mayGo(candidate, modem)) {
          best = &candidate;
        }
      }
      const std::string chosen = next(modem);
      ASSERT_EQ(chosen, best == nullptr ? "" : best->id) << "step " << step;
      if (best != nullptr) {
        outbox->beginAttempt(chosen, modem.name, now);
        running[chosen] = {best->to, modem.name, best->priority == Priority::kAlarm, INT64_MAX};
        ++begun;
      }
    }
    if (step % 500 == 0) {
      ASSERT_EQ(outbox->check(), "");
      outbox->commit();
      open();  // what is derived is made anew
    }
  }
  EXPECT_GT(begun, 200);
}

}  // namespace
}  // namespace orvix::gateway
