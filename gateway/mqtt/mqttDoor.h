// The MQTT door: takes messages on gsm/ID/send, tells what becomes of them, and shows modems and queue. One thread, the
// service's; nothing here blocks.
//
// In a round: onReady(), then the service's settle(), then tell(). While no broker is there nothing is lost: notes wait
// in the outbox, retained topics are told anew at the next connection.
// What becomes of a message is told from the notes that the outbox keeps, so that a restart goes on where the broker
// stopped taking; a note is dropped when the broker has acknowledged it. So a note may be told twice, and is told at
// least once.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "gateway/mqtt/broker.h"
#include "gateway/service/service.h"

namespace orvix::gateway {

class MqttDoor final : private ServiceListener {
 public:
  // `served` is borrowed and must outlive the door, whose listener it keeps. Connects from now on. Throws
  // std::runtime_error for a configuration that cannot work.
  MqttDoor(Service* served, const MqttConfig& configuration);
  MqttDoor(const MqttDoor&) = delete;
  MqttDoor& operator=(const MqttDoor&) = delete;

  // To be polled for reading. The same as long as the door lives.
  int descriptor() const { return broker.descriptor(); }
  // Takes what the broker brought, as part of the present round.
  void onReady();
  // Tells what is to be told; call it after the commit, for what is not durable must not be told.
  void tell();
  // When onReady and tell must be called even though nothing is ready, in ms of service time; none: never.
  std::optional<std::int64_t> nextTimeMs() const;
  // As of the latest onReady.
  bool isConnected() const { return connected; }

  // Takes nothing more and publishes "offline"; isStopped() tells when the broker has acknowledged that, cannot, or is
  // too slow.
  void stop();
  bool isStopped() const;

 private:
  // Told by the service, after the commit of what it tells.
  void onMessage(const Message& message) override;
  void onModem(const ModemView& modem) override;
  void onReport(const ModemView& modem) override;

  // What the broker brought.
  void onEvent(const BrokerEvent& event);
  // Tells all retained topics anew.
  void onConnected();
  void onAcknowledged(int publication);
  // A submission as JSON; a refusal is published, an acceptance told by its note.
  void onCommand(const std::string& payload);
  void refuse(const std::string& id, const Refusal& refusal);
  // Retained topics: the newest value is what a late subscriber gets.
  void show(const std::string& topic, const std::string& payload);
  void showModem(const ModemView& modem);
  void showQueue();
  void remember(const Message& message);  // as the last result
  void tellMessages();
  void dropAcknowledged();  // with the next commit

  // As they were given, and the owner that messages of this door belong to.
  Service* const service;
  const MqttConfig config;
  const std::string base;
  const Caller caller;
  Broker broker;
  bool connected = false;
  std::string trouble;  // why there is no broker; logged once per reason
  // By the modem's name, so that only a change is published.
  std::map<std::string, ModemState> shownStates;
  bool isQueueChanged = false;
  std::int64_t nextQueueMs = 0;
  nlohmann::json lastResult;

  // Notes on their way out: from the publication's number to the note's, and the highest note that was published.
  std::map<int, std::int64_t> told;
  std::int64_t lastTold = 0;
  bool isMoreToTell = true;
  // Notes that the broker has acknowledged, and when they are dropped together.
  std::vector<std::int64_t> acknowledged;
  std::int64_t dropMs = 0;

  // Retained topics on their way out, by publication, and what is to follow there.
  std::map<int, std::string> showing;
  std::map<std::string, std::string> toShow;
  std::set<int> refusals;  // publications on their way out

  std::optional<int> goodbye;  // the publication that says "offline"
  std::int64_t goodbyeEndMs = 0;
  bool hasSaidGoodbye = false;
};

}  // namespace orvix::gateway
