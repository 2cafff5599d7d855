// The MQTT door: takes messages on gsm/ID/send, tells what becomes of them, and shows modems and queue. One thread.
//
// What becomes of a message is told from the notes that the outbox keeps, so that a restart goes on where the broker
// stopped taking; a note goes when the broker has taken it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "gateway/mqtt/broker.h"
#include "gateway/service/service.h"

namespace orvix::gateway {

class MqttDoor final : private ServiceListener {
 public:
  // `service` is borrowed. Connects from now on. Throws std::runtime_error for a configuration that cannot work.
  MqttDoor(Service* service, const MqttConfig& config);
  MqttDoor(const MqttDoor&) = delete;
  MqttDoor& operator=(const MqttDoor&) = delete;

  int descriptor() const { return broker.descriptor(); }
  // Takes what the broker brought, as part of the present round.
  void onReady();
  // Tells what is to be told; call it behind the commit, for what is not durable must not be told.
  void tell();
  std::optional<std::int64_t> nextTimeMs() const;
  bool isConnected() const { return connected; }

  // Takes nothing more and publishes "offline"; true from isStopped() on once the broker took it, or cannot.
  void stop();
  bool isStopped() const { return !connected || hasSaidGoodbye; }

 private:
  void onMessage(const Message& message) override;
  void onModem(const ModemView& modem) override;
  void onReport(const ModemView& modem) override;

  void onEvent(const BrokerEvent& event);
  void onConnected();
  void onTaken(int publication);
  void onCommand(const std::string& payload);
  void refuse(const std::string& id, const Refusal& refusal);
  void show(const std::string& topic, const std::string& payload);
  void showModem(const ModemView& modem);
  void showQueue();
  void remember(const Message& message);
  void tellMessages();
  void dropTaken();

  Service* const service;
  const MqttConfig config;
  const std::string base;
  const Caller caller;
  Broker broker;
  bool connected = false;
  std::string trouble;
  std::map<std::string, ModemState> shownStates;
  bool isQueueChanged = false;
  std::int64_t nextQueueMs = 0;
  nlohmann::json lastResult;

  std::map<int, std::int64_t> told;  // publication to note
  std::int64_t lastTold = 0;         // note
  bool isMoreToTell = true;
  std::vector<std::int64_t> taken;  // notes that can go with the next commit
  std::int64_t dropMs = 0;

  std::optional<int> goodbye;
  bool hasSaidGoodbye = false;
};

}  // namespace orvix::gateway
