// What the halves of the service share: doors.cpp takes from the doors, dispatch.cpp gives to the modems, rounds.cpp
// brings both to the disk. Internal. One thread.
//
// A round: whatever happened since the last commit joins one transaction of the outbox, leaves functions in `waiting`
// (who was promised something) and `news` (who is to be told), and ends with a commit that calls them, or with a
// rollback that calls the first kind alone, with false.
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
// From the order to the worker until the commit of its end: until then the modem takes nothing else.
struct Running {
  AttemptOrder order;
  bool isMarked = false;          // "may be out" is committed
  std::optional<AttemptEnd> end;  // over, and still to be committed
  bool isWritten = false;         // as part of the present round
};

// A modem with all that the service knows of it.
struct Modem {
  ModemConfig config;
  ModemView view;
  std::unique_ptr<WorkerProcess> worker;
  std::optional<Running> running;
  // It refused a message for itself or its SIM card: out of service until it reports again.
  bool awaitsReport = false;
  // It refused one for want of a network: until a report says that it is registered.
  bool awaitsRegistration = false;

  bool isFree() const {
    return worker->isRunning() && view.state == ModemState::kReady && !running && !awaitsReport && !awaitsRegistration;
  }
};

struct Service::State final : WorkerListener {
  State(const Config& configuration, Outbox* store, ServiceClock* serviceClock);

  // Runs work on the outbox, the only way to it; when the database refuses, everything since the last commit is void,
  // and false.
  bool onStore(const std::function<void()>& work);
  // A message has changed, or an attempt of it: to be told after the commit.
  void changed(const Message& message);
  void changed(const Modem& modem);
  // After a StoreError: nothing since the last commit happened.
  void voidRound(const std::string& reason);
  // Whether there was anything to tell, so that another round may be due.
  // With `isTrial` something is written even when nothing waits, which shows whether the disk takes it.
  bool commitRound(bool isTrial);

  // The halves of submit, show, cancel and resolve that speak with the outbox. `otherwise` is what a 409 says.
  std::variant<Accepted, Refusal> take(const NewRequest& request, const Caller& caller);
  std::variant<Message, Refusal> visible(const Caller& caller, const std::string& id);
  std::variant<Message, Refusal> move(const Caller& caller, const std::string& id, const std::string& otherwise,
                                      const std::function<std::optional<Message>()>& attempt);

  // Gives waiting messages to free modems.
  void dispatch();
  // queued -> attempting; the order goes to the worker after the commit.
  void begin(Modem* modem, const Message& message);
  // Writes down the end that a worker told.
  void finish(Modem* modem);
  // What is due by time alone, and ends that are still to be written.
  void letTimePass();
  void dropToldNotes();
  Modem* find(const std::string& name);  // null where there is none

  // From the workers, see WorkerListener.
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
  // Date of the heartbeat that was sent last, and when to look again.
  std::string lastHeartbeat;
  std::int64_t nextHeartbeatMs = 0;
  bool isStopping = false;

  // Of the present round.
  std::vector<std::function<void(bool)>> waiting;  // for the commit
  std::vector<std::function<void()>> news;         // to be told after it

  // Borrowed, in the order in which they came.
  std::vector<ServiceListener*> listeners;
  // What the database said last; "" while it takes what it is given. No work of our own before the retry.
  std::string storeTrouble;
  std::int64_t storeRetryMs = 0;
  std::int64_t nextPurgeMs = 0;
  std::vector<std::int64_t> toldNotes;  // that the disk still holds
};

}  // namespace orvix::gateway
