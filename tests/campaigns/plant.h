// A service in virtual time, on a real database, with modems that take 8.5 s for a message and know what they sent. One
// thread.
#pragma once

#include <glog/logging.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "tests/campaigns/kit.h"
#include "tests/world/gatewayWorld.h"

namespace campaign {

using orvix::gateway::AttemptResult;
using orvix::gateway::Message;
using orvix::gateway::MessageState;
using orvix::hostkit::Verdict;

// The ids of its messages are their numbers, from 0.
class Plant : public world::GatewayWorld, orvix::gateway::ServiceListener {
 public:
  struct End {
    AttemptResult result;
    bool isOut = true;  // the modem sent the text
  };

  // `settings` names the modems. Room for `count` messages is made at once.
  Plant(const orvix::gateway::Config& settings, int count) : known(static_cast<std::size_t>(count)) {
    FLAGS_minloglevel = google::GLOG_FATAL;
    config = settings;
    config.storage.folder = folder.path();
    start();
    service->addListener(this);
    for (const orvix::gateway::ModemConfig& modem : config.modems) {
      modems.push_back({&world::worker(modem.name)});
      modems.back().worker->ready();
    }
  }

  // The status that a door would answer, after the commit.
  int submit(int number, const orvix::gateway::Caller& caller, orvix::gateway::Submission submission) {
    submission.id = std::to_string(number);
    submission.text = "number " + *submission.id;
    const auto answer = service->submit(caller, submission);
    bool isDurable = false;
    service->onCommitted([&](bool isCommitted) { isDurable = isCommitted; });
    service->settle();
    const auto* const refusal = std::get_if<orvix::gateway::Refusal>(&answer);
    known[static_cast<std::size_t>(number)].isAccepted = refusal == nullptr && isDurable;
    return refusal != nullptr ? refusal->status : isDurable ? 202 : 503;
  }

  // Event by event.
  void pass(std::int64_t ms) {
    for (const std::int64_t endMs = service->nowMs() + ms; service->nowMs() < endMs;) {
      service->settle();
      std::int64_t next = std::min(endMs, service->nextTimeMs().value_or(endMs));
      for (Modem& modem : modems) {
        modem.dueMs = modem.worker->order && modem.dueMs == 0 ? service->nowMs() + kPromptMs : modem.dueMs;
        next = modem.dueMs != 0 ? std::min(next, modem.dueMs) : next;
      }
      world::ServiceTime::instance().pass(std::max<std::int64_t>(next - service->nowMs(), 1));
      for (Modem& modem : modems) {
        if (modem.dueMs != 0 && modem.dueMs <= service->nowMs()) {
          advance(&modem);
        }
      }
    }
  }

  // The modem is gone, and with it what it was doing.
  void hangUp(std::size_t number) {
    world::FakeWorker* const worker = modems[number].worker;
    worker->listener->onState(worker->modem, orvix::gateway::ModemState::kNotAvailable, "the line hung up");
    if (worker->order) {
      const bool isDoubt = worker->mayGoAhead;
      finish(&modems[number], {{isDoubt ? Verdict::kUncertain : Verdict::kNotSent, {}, {}, {}, isDoubt, "hung up", ""},
                               isDoubt && number % 2 == 0});
    }
  }
  world::FakeWorker* worker(std::size_t number) const { return modems[number].worker; }
  static bool isHeartbeat(const std::string& id) { return id.front() == 'h'; }

  // Holds what was sent against what was told last.
  void account(Figures* figures) {
    auto& [counts, faults] = *figures;
    std::for_each(heartbeats.begin(), heartbeats.end(), [this](const auto& beat) { known.push_back(beat.second); });
    for (const Known& message : known) {
      if (!message.isAccepted) {
        continue;
      }
      const bool isOver = message.state != MessageState::kQueued && message.state != MessageState::kAttempting;
      ++counts[wordOf(message.state)];
      faults["lost"] += isOver ? 0 : 1;
      faults["sent twice"] += message.timesOut > 1 ? 1 : 0;
      faults["untrue"] +=
          !message.wasUncertain && (message.state == MessageState::kSent) != (message.timesOut > 0) ? 1 : 0;
    }
    faults["moved after the end"] = movedAfterEnd;
    faults["unsound databases"] = outbox->check().empty() ? 0 : 1;
  }

  std::function<End()> endOfAttempt = [] { return End{{Verdict::kSent, 1, {}, {}, true, "", ""}, true}; };
  std::function<void(const Message&)> onChange = [](const Message&) {};

 private:
  static constexpr std::int64_t kPromptMs = 3000;
  static constexpr std::int64_t kResultMs = 5500;

  struct Modem {
    world::FakeWorker* worker;
    std::int64_t dueMs = 0;  // 0: nothing to do
  };
  struct Known {
    MessageState state = MessageState::kQueued;
    bool isAccepted = false;
    bool wasUncertain = false;
    int timesOut = 0;
  };

  // To the prompt, or from there to the end; without leave to write a worker ends.
  void advance(Modem* modem) {
    if (modem->worker->mayGoAhead) {
      return finish(modem, endOfAttempt());
    }
    modem->worker->prompt();
    service->settle();
    modem->dueMs = modem->worker->mayGoAhead ? service->nowMs() + kResultMs : 0;
    if (!modem->worker->mayGoAhead) {
      modem->worker->die();
    }
  }
  void finish(Modem* modem, const End& end) {
    knownOf(modem->worker->order->id).timesOut += end.isOut ? 1 : 0;
    modem->dueMs = 0;
    modem->worker->end(end.result);
  }

  // A heartbeat is the service's own, accepted as soon as it is told of.
  Known& knownOf(const std::string& id) {
    return isHeartbeat(id) ? heartbeats.try_emplace(id, Known{MessageState::kQueued, true}).first->second
                           : known[std::stoul(id)];
  }

  void onMessage(const Message& message) override {
    Known& seen = knownOf(message.id);
    const bool wasOver = seen.state == MessageState::kSent || seen.state == MessageState::kFailed;
    movedAfterEnd += wasOver && seen.state != message.state ? 1 : 0;
    seen.state = message.state;
    seen.wasUncertain = seen.wasUncertain || message.state == MessageState::kUncertain;
    onChange(message);
  }
  void onModem(const orvix::gateway::ModemView& /*modem*/) override {}
  void onReport(const orvix::gateway::ModemView& /*modem*/) override {}

  std::vector<Modem> modems;
  std::vector<Known> known;
  std::map<std::string, Known> heartbeats;
  int movedAfterEnd = 0;
};

}  // namespace campaign
