// The connection to an MQTT 3.1.1 broker: the only file that knows libmosquitto.
//
// QoS 1 in both directions (MQTT 3.1.1, 4.3.2): what is sent comes at least once, so the same may come twice.
// Threads: one, the loop's. A thread inside resolves names, connects, connects again (1 to 30 s between tries) and
// moves packets; it owns nothing and only posts what happens, which take() hands out. So a broker that is slow, away or
// refuses holds nothing up.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gateway/config/config.h"

namespace orvix::gateway {

// Of a longer payload only one byte more is kept: enough to see that it is too long. As of a body over HTTP.
inline constexpr std::size_t kLongestPayload = 65536;

// One thing that happened on the connection. Members that the kind does not name are empty.
// kDisconnected may come again and again while no broker is found; kConnected comes at each connection, and
// kSubscriptionRefused after it at most once.
struct BrokerEvent {
  enum class Kind { kConnected, kDisconnected, kSubscriptionRefused, kMessage, kAcknowledged };

  Kind kind = Kind::kDisconnected;
  std::string text;  // kDisconnected: why
  // Of kMessage, as they came: foreign bytes, to be escaped wherever they are shown.
  std::string topic;
  std::string payload;
  int publication = 0;  // kAcknowledged: what publish() returned
};

class Broker {
 public:
  // What the broker publishes for us when the connection ends without a goodbye; QoS 1, retained.
  struct Will {
    std::string topic;
    std::string payload;
  };

  // The client id is "gsm-gateway-ID", the session persistent, so that the broker keeps what comes while we are away.
  // Nothing connects before start(). Throws std::runtime_error for a file or a broker's name that is of no use.
  Broker(const MqttConfig& config, const Will& will, const std::string& subscription);
  // Waits 3 s for the thread at most.
  ~Broker();
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;

  void start();
  // For poll: readable while take() has something. Borrowed; the same as long as the broker lives.
  int descriptor() const;
  // What happened, in its order. Retained messages are left out; when 4 MB of others wait here, more are dropped: their
  // sender sees no acceptance and sends again.
  std::vector<BrokerEvent> take();

  // QoS 1; the number that a kAcknowledged will name. None when it could not be queued. What was queued and not
  // acknowledged goes out again after a reconnection. Never blocks.
  // Topic and payload are copied. The number is MQTT's packet identifier, 1 to 65535, and comes again when all were
  // used.
  std::optional<int> publish(const std::string& topic, const std::string& payload, bool isRetained);
  // A goodbye: the will is not published. Nothing connects again.
  void disconnect();

 private:
  struct Connection;
  std::shared_ptr<Connection> connection;  // shared with the thread
};

}  // namespace orvix::gateway
