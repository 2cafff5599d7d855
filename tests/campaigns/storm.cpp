// A storm: 467 messages a second for a minute, with priorities and budgets, and the day behind it, in virtual time.
#include <deque>

#include "tests/campaigns/plant.h"

namespace {

using orvix::gateway::Caller;
using orvix::gateway::Priority;

constexpr int kModems = 7;
constexpr int kModemBudget = 500;  // of all but the last two
constexpr int kMostWaitMs = 16000;
constexpr std::int64_t kHourMs = 3600000;
constexpr int kProbes = 150;

// Whether a message is one more than `most` within a span of time, an alarm among alarms alone.
struct Window {
  std::deque<std::int64_t> times[2];  // of all, of alarms
  int exceeds(std::int64_t nowMs, bool isAlarm, std::int64_t lengthMs, std::size_t most) {
    for (auto* const those : {&times[0], &times[1]}) {
      while (!those->empty() && those->front() <= nowMs - lengthMs) {
        those->pop_front();
      }
      if (those == &times[0] || isAlarm) {
        those->push_back(nowMs);
      }
    }
    return times[isAlarm ? 1 : 0].size() > most ? 1 : 0;
  }
};

orvix::gateway::Config settings(int queueLimit) {
  orvix::gateway::Config config;
  config.storage.queueLimit = queueLimit;
  for (int i = 0; i < kModems; ++i) {
    config.modems.emplace_back().name = "m" + std::to_string(i);
    config.modems.back().perDay = i < kModems - 2 ? kModemBudget : 0;
  }
  return config;
}

}  // namespace

// One message in twenty is an alarm, to a number of its own; the others go to 60 numbers.
campaign::Figures campaign::run(int count, unsigned seed) {
  Figures figures;
  auto& faults = figures.faults;
  const int tokenBudget = count / 14;
  const int queueLimit = count * 5 / 7;  // the last tenth for alarms
  Random random(seed);
  Plant plant(settings(queueLimit), count + kProbes);
  std::map<std::string, Window> recipients;
  std::map<std::string, Window> modems;
  std::map<std::string, int> waiting;  // normal ones by their number, alarms under ""
  std::int64_t longestMs = 0;
  plant.onChange = [&](const Message& message) {
    const bool isAlarm = message.priority == Priority::kAlarm;
    const bool isBulk = message.priority == Priority::kBulk;
    const std::string number = isAlarm ? "" : message.to;
    if (message.state == MessageState::kQueued) {
      waiting[number] += isBulk ? 0 : 1;
    } else if (message.state == MessageState::kAttempting) {
      const std::int64_t nowMs = plant.service->nowMs();
      const std::string modem = message.attempts.back().modem;
      waiting[number] -= isBulk ? 0 : 1;
      faults["less urgent first"] += (!isAlarm && waiting[""] > 0) || (isBulk && waiting[number] > 0) ? 1 : 0;
      faults["over a number's budget"] += recipients[message.to].exceeds(nowMs, isAlarm, kHourMs, 20);
      faults["over a modem's budget"] +=
          modems[modem].exceeds(nowMs, isAlarm, 24 * kHourMs, modem < "m5" ? kModemBudget : 100000);
      longestMs = std::stoi(message.id) >= count ? std::max(longestMs, nowMs - message.acceptedMs) : longestMs;
    }
  };
  const Caller token{"token:plant", {{"*"}, tokenBudget, Priority::kAlarm, false}};
  const Caller socket{"socket", {{"*"}, 0, Priority::kAlarm, true}};
  int ofToken = 0;
  for (int i = 0; i < count; ++i) {
    orvix::gateway::Submission submission;
    const bool isAlarm = random.below(20) == 0;
    const bool isTokens = random.below(4) == 0;
    submission.to = {"+49" + std::to_string(isAlarm ? 100000 + i : 1000 + random.below(60))};
    submission.priority = isAlarm ? Priority::kAlarm : random.below(2) == 0 ? Priority::kNormal : Priority::kBulk;
    const std::int64_t room =
        queueLimit - (isAlarm ? 0 : queueLimit / 10) - plant.service->counts().of(MessageState::kQueued);
    const int status = plant.submit(i, isTokens ? token : socket, submission);
    const bool isOver = room <= 0 || (isTokens && ofToken == tokenBudget);
    faults["wrongly taken or refused"] += (status == 202) == isOver ? 1 : 0;
    ++figures.counts["answers " + std::to_string(status)];
    ofToken += isTokens && status == 202 ? 1 : 0;
    plant.pass(60000 / count + (i % 7 == 0 ? 1 : 0));
  }
  for (int i = 0; i < kProbes; ++i) {
    do {
      plant.pass(600000);
    } while (waiting[""] > 0);  // the storm's own come first
    orvix::gateway::Submission probe;
    probe.to = {"+44" + std::to_string(10000 + i)};
    probe.priority = Priority::kAlarm;
    plant.submit(count + i, socket, probe);
  }
  plant.pass(24 * kHourMs);
  plant.account(&figures);
  faults["later than 16 s"] = longestMs > kMostWaitMs ? 1 : 0;
  figures.counts["ms an alarm waited in its midst"] = static_cast<int>(longestMs);
  return figures;
}
