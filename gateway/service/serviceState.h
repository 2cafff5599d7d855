// What the halves of the service share: doors.cpp takes from the doors, dispatch.cpp gives to the modems, rounds.cpp
// brings both to the disk. Internal. One thread.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gateway/service/heartbeat.h"
#include "gateway/service/service.h"

namespace orvix::gateway {

// A message on its way through a modem.
struct Running {
  AttemptOrder order;
  bool isMarked = false;          // "may be out" is committed
  std::optional<AttemptEnd> end;  // over, and still to be committed
  bool isWritten = false;         // as part of the present round
};

struct Modem {
  ModemConfig config;
  ModemView view;
  std::unique_ptr<WorkerProcess> worker;
  std::optional<Running> running;
  bool awaitsReport = false;        // out of service until it reports again
  bool awaitsRegistration = false;  // until a report says that it is registered

  bool isFree() const {
    return worker->isRunning() && view.state == ModemState::kReady && !running && !awaitsReport && !awaitsRegistration;
  }
};

struct Service::State final : WorkerListener {
  State(const Config& configuration, Outbox* store, ServiceClock* serviceClock);

  // Runs work on the outbox; when the database refuses, everything since the last commit is void, and false.
  bool onStore(const std::function<void()>& work);
  // A message has changed, or an attempt of it: to be told after the commit.
  void changed(const Message& message);
  void changed(const Modem& modem);
  void voidRound(const std::string& reason);
  bool commitRound();  // whether there was anything to tell

  // The halves of submit, show, cancel and resolve that speak with the outbox.
  std::variant<Accepted, Refusal> take(const NewRequest& request, const Caller& caller);
  std::variant<Message, Refusal> visible(const Caller& caller, const std::string& id);
  std::variant<Message, Refusal> move(const Caller& caller, const std::string& id, const std::string& otherwise,
                                      const std::function<std::optional<Message>()>& attempt);

  // Gives waiting messages to free modems.
  void dispatch();
  void begin(Modem* modem, const Message& message);
  void finish(Modem* modem);
  void letTimePass();
  Modem* find(const std::string& name);

  void onState(const std::string& name, ModemState state, const std::string& reason) override;
  void onReport(const std::string& name, const ModemReport& report) override;
  void onDoing(const std::string& name, const std::string& doing) override;
  void onPrompt(const std::string& name, const std::string& id, int number) override;
  void onAttemptEnded(const std::string& name, const std::string& id, int number, const AttemptResult& result) override;
  void onHealed(const std::string& name) override;
  void onReconnected(const std::string& name) override;
  void onDied(const std::string& name, const std::optional<AttemptOrder>& order, const std::string& recording,
              const std::string& reason) override;

  const Config config;
  Outbox* const outbox;
  ServiceClock* const clock;
  std::vector<Modem> modems;  // never grows after the start: workers' pointers into it stay
  Metrics metrics;
  std::string lastHeartbeat;  // its date
  std::int64_t nextHeartbeatMs = 0;
  bool isStopping = false;

  // Of the present round.
  std::vector<std::function<void(bool)>> waiting;  // for the commit
  std::vector<std::function<void()>> news;         // to be told after it

  std::vector<ServiceListener*> listeners;
  std::string storeTrouble;       // "" while the database takes what it is given
  std::int64_t storeRetryMs = 0;  // no work of our own before
  std::int64_t nextPurgeMs = 0;
};

}  // namespace orvix::gateway
