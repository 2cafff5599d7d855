// The connection to an MQTT 3.1.1 broker: the only file that knows libmosquitto.
//
// Threads: one, the loop's. A thread inside resolves names, connects, connects again (1 to 60 s between tries) and
// moves packets; it owns nothing and only posts what happens, which take() hands out. So a broker that is slow, away or
// refuses holds nothing up.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gateway/config/config.h"

namespace orvix::gateway {

struct BrokerEvent {
  enum class Kind { kConnected, kDisconnected, kMessage, kTaken };

  Kind kind = Kind::kDisconnected;
  std::string text;     // kDisconnected: why
  std::string topic;    // kMessage
  std::string payload;  // kMessage
  int publication = 0;  // kTaken: what publish() returned
};

class Broker {
 public:
  struct Will {
    std::string topic;
    std::string payload;  // retained
  };

  // Nothing connects before start(). Throws std::runtime_error for a file or a broker's name that is of no use.
  Broker(const MqttConfig& config, const Will& will, const std::string& subscription);
  ~Broker();
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;

  void start();
  // Readable while take() has something.
  int descriptor() const;
  // What happened, in its order. Retained messages are left out; when a thousand others wait here, more are dropped:
  // their sender sees no acceptance and sends again.
  std::vector<BrokerEvent> take();

  // QoS 1. None when it could not be queued. What was queued and not taken goes out again after a reconnection.
  std::optional<int> publish(const std::string& topic, const std::string& payload, bool isRetained);
  void disconnect();

 private:
  struct Connection;
  std::shared_ptr<Connection> connection;  // shared with the thread
};

}  // namespace orvix::gateway
