// The owner of everything: takes from the doors, gives to the modems, decides who is next. One thread, the loop's.
//
// Doors call it from there and get values back; nothing blocks but the disk. What changed is durable only when
// onCommitted's function is called with true: a door answers its client from there. With false nothing of it happened:
// 503. All times are service time in ms (clock.h), shown to the world with offsetMs() added.
//
// No call throws for what a client asks or for a disk that fails: both are a Refusal.
#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "gateway/config/config.h"
#include "gateway/outbox/outbox.h"
#include "gateway/service/clock.h"
#include "gateway/service/metrics.h"
#include "gateway/service/submission.h"
#include "gateway/worker/workerProcess.h"

namespace orvix::gateway {

// A request that was taken, now or before.
// The messages as they are now: of a repeat that may be long after the acceptance.
struct Accepted {
  bool isNew = true;  // 202, else 200
  bool isBatch = false;
  std::vector<Message> messages;
};

// A modem as the doors show it.
struct ModemView {
  std::string name;
  ModemState state = ModemState::kNoData;
  std::string reason;  // why it is not ready; "" when it is
  std::string line;    // its connection string
  std::string doing;   // at this moment, for people
  std::optional<ModemReport> report;
  std::optional<std::int64_t> reportMs;
  std::optional<std::string> sending;  // id of the message it is attempting
};

// Of one answer of Service::history: more than a screen has columns.
inline constexpr int kMaxHistoryPoints = 10000;

// Reasons are for people; there are some exactly when it is not ok.
struct Health {
  bool isOk = true;
  std::vector<std::string> reasons;
};

// Told after the commit of what it tells, in the order in which it happened. A door that serves several owners filters
// by message.owner. A listener may call the service; that starts the next round.
// What is passed is borrowed for the call.
class ServiceListener {
 public:
  // At every change of state.
  virtual void onMessage(const Message& message) = 0;
  // At every change of state, reason, work or message; onReport at every report, changed or not.
  virtual void onModem(const ModemView& modem) = 0;
  virtual void onReport(const ModemView& modem) = 0;

 protected:
  ~ServiceListener() = default;
};

class Service {
 public:
  // All borrowed for as long as it lives. Recovers the outbox and commits that; starts nothing. Throws StoreError.
  Service(const Config& config, Outbox* outbox, ServiceClock* clock);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // For the doors. Refusals: 422 for what is wrong in itself, 403 for what the caller may not, 404 also for what
  // belongs to another owner, 409 for the wrong state or an id that is taken, 429 and 503 (with a time to come again)
  // for what may be possible later.
  // Takes a request as a whole or not at all. The same id and content again: what there is, isNew false.
  std::variant<Accepted, Refusal> submit(const Caller& caller, const Submission& submission);
  std::variant<Message, Refusal> show(const Caller& caller, const std::string& id);
  // Oldest first, from after filter.afterSequence on; the caller's own only, unless he sees all.
  std::variant<std::vector<Message>, Refusal> list(const Caller& caller, MessageFilter filter);
  std::variant<Message, Refusal> cancel(const Caller& caller, const std::string& id);
  std::variant<Message, Refusal> resolve(const Caller& caller, const std::string& id, Outbox::Resolution resolution);
  // One attempt's traffic, in the format of docs/recording.md.
  std::variant<std::string, Refusal> recording(const Caller& caller, const std::string& id, int number);
  // In the order of the configuration.
  std::vector<ModemView> modems() const;
  // At most `points` (1 to kMaxHistoryPoints) of the time from..to; the last 24 h where these are not given.
  std::variant<std::vector<HistoryPoint>, Refusal> history(const std::string& modem, std::optional<std::int64_t> fromMs,
                                                           std::optional<std::int64_t> toMs, int points);
  // Whether outbox and workers make progress; an unplugged modem is no fault of the service.
  Health health() const;
  // All 0 while the outbox does not answer.
  // Cheap: the outbox keeps them and counts no messages.
  Counts counts();
  std::optional<Message> lastResult();
  const Metrics& metrics() const;
  const Config& config() const;
  std::int64_t nowMs() const;
  std::int64_t offsetMs() const;
  // The notes about messages that a door owes its listeners, see Outbox. Added with the next commit; dropped with the
  // first one behind settle() that the disk takes.
  std::vector<Outbox::Announcement> announcements(std::int64_t afterNumber, int limit);
  void announce(const std::vector<Message>& messages);
  void dropAnnouncements(const std::vector<std::int64_t>& numbers);
  // Borrowed; called until the service ends.
  // There is no way to take one back: it must live as long as the service is used.
  void addListener(ServiceListener* listener);
  // Called once, with the end of the present round; from inside settle(), or at once from a call that voids the round.
  // Nothing may be thrown from it. What it asks of the service belongs to the next round.
  void onCommitted(std::function<void(bool isCommitted)> done);

  // For the loop: start once, then poll the workers' descriptors, and settle after every round of events.
  void startWorkers();
  // Borrowed; the same ones for as long as the service lives.
  std::vector<WorkerProcess*> workers();
  // Hands messages to free modems, lets time do its work, commits, and calls what waits for the commit. To be called
  // after every round of events.
  // Blocks for as long as the disk takes, which on a worn card may be a second and more.
  void settle();
  // When settle() must be called even though nothing happened.
  std::optional<std::int64_t> nextTimeMs();
  // No new attempt: running calls end, and a worker that listens for a late result does so for that much longer at
  // most.
  // Ends no process by force; whoever has no more patience does (WorkerProcess::kill).
  void stop(int listenSeconds);
  // Whether all workers have ended.
  bool isStopped() const;

 private:
  // Sends the heartbeat when it is due.
  void beat();

  struct State;
  std::unique_ptr<State> state;
};

}  // namespace orvix::gateway
