// The owner of everything: takes from the doors, gives to the modems, decides who is next. One thread.
//
// Doors call it from the loop's thread and get values back. What changed is durable only when onCommitted's function is
// called with true: a door answers its client from there. With false nothing of it happened: 503.
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

struct Accepted {
  bool isNew = true;  // 202, else 200
  bool isBatch = false;
  std::vector<Message> messages;
};

struct ModemView {
  std::string name;
  ModemState state = ModemState::kNoData;
  std::string reason;
  std::string line;
  std::string doing;
  std::optional<ModemReport> report;
  std::optional<std::int64_t> reportMs;
  std::optional<std::string> sending;  // id of the message it is attempting
};

struct Health {
  bool isOk = true;
  std::vector<std::string> reasons;
};

// Told after the commit of what it tells. A door that serves several owners filters by message.owner.
class ServiceListener {
 public:
  virtual void onMessage(const Message& message) = 0;
  virtual void onModem(const ModemView& modem) = 0;
  virtual void onReport(const ModemView& modem) = 0;

 protected:
  ~ServiceListener() = default;
};

class Service {
 public:
  // All borrowed. Recovers the outbox; starts nothing.
  Service(const Config& config, Outbox* outbox, ServiceClock* clock);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // For the doors.
  std::variant<Accepted, Refusal> submit(const Caller& caller, const Submission& submission);
  std::variant<Message, Refusal> show(const Caller& caller, const std::string& id);
  std::variant<std::vector<Message>, Refusal> list(const Caller& caller, MessageFilter filter);
  std::variant<Message, Refusal> cancel(const Caller& caller, const std::string& id);
  std::variant<Message, Refusal> resolve(const Caller& caller, const std::string& id, Outbox::Resolution resolution);
  std::variant<std::string, Refusal> recording(const Caller& caller, const std::string& id, int number);
  std::vector<ModemView> modems() const;
  std::variant<std::vector<HistoryPoint>, Refusal> history(const std::string& modem, std::optional<std::int64_t> fromMs,
                                                           std::optional<std::int64_t> toMs, int points);
  // Whether outbox and workers make progress; an unplugged modem is no fault of the service.
  Health health() const;
  Counts counts();
  std::optional<Message> lastEnded();
  const Metrics& metrics() const;
  const Config& config() const;
  std::int64_t nowMs() const;
  std::int64_t offsetMs() const;
  // The notes about messages that a door owes its listeners, see Outbox. Dropped and added with the next commit.
  std::vector<Outbox::Announcement> announcements(std::int64_t afterNumber, int limit);
  void announce(const std::vector<Message>& messages);
  void dropAnnouncements(const std::vector<std::int64_t>& numbers);
  void addListener(ServiceListener* listener);
  void onCommitted(std::function<void(bool isCommitted)> done);

  // For the loop.
  void startWorkers();
  std::vector<WorkerProcess*> workers();
  // Hands messages to free modems, lets time do its work, commits, and calls what waits for the commit. To be called
  // after every round of events.
  void settle();
  std::optional<std::int64_t> nextTimeMs();
  // No new attempt: running calls end, and a worker that listens for a late result does so for that much longer at
  // most.
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
