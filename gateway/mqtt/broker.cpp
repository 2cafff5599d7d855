#include "gateway/mqtt/broker.h"

#include <fcntl.h>
#include <mosquitto.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace orvix::gateway {
namespace {

// At least once: an id makes a repeat harmless in either direction.
constexpr int kQos = 1;
constexpr int kKeepAliveSeconds = 30;
constexpr unsigned kShortestDelaySeconds = 1;
constexpr unsigned kLongestDelaySeconds = 30;
// Small brokers hold few; the rest waits in the library.
constexpr unsigned kMostInFlight = 20;
constexpr std::size_t kMostWaiting = 4 << 20;  // bytes of messages
// Return code of SUBACK (MQTT 3.1.1, 3.9.3): everything below it is the granted QoS.
constexpr int kRefusedSubscription = 0x80;
constexpr std::chrono::seconds kPatience{3};  // with a thread that hangs in the resolver

struct Address {
  std::string host;
  int port = 0;
  bool isSecure = false;
};

// "mqtt://HOST[:PORT]" or "mqtts://...", the host in brackets where it is an IPv6 address.
Address addressOf(const std::string& url) {
  Address address;
  address.isSecure = url.rfind("mqtts://", 0) == 0;
  std::string rest = url.substr(url.find("://") + 3);
  // As registered: secure-mqtt and mqtt.
  address.port = address.isSecure ? 8883 : 1883;
  // After the bracket of an IPv6 address, whose own colons do not count.
  const std::size_t colon = rest.find(':', rest.find(']') == std::string::npos ? 0 : rest.find(']'));
  if (colon != std::string::npos) {
    address.port = std::stoi(rest.substr(colon + 1));
    rest.resize(colon);
  }
  const bool isBracketed = rest.size() > 2 && rest.front() == '[' && rest.back() == ']';
  address.host = isBracketed ? rest.substr(1, rest.size() - 2) : rest;
  return address;
}

std::string passwordIn(const std::string& file) {
  std::ifstream input(file);
  std::string password;
  if (!std::getline(input, password)) {
    throw std::runtime_error("mqtt.passwordFile: " + file + " cannot be read");
  }
  return password;
}

// `what` names the keys of the configuration that a person would have to look at.
void require(int result, const std::string& what) {
  if (result != MOSQ_ERR_SUCCESS) {
    throw std::runtime_error(what + ": " + mosquitto_strerror(result));
  }
}

// For the library null says "not given"; "" would be a file without a name or a password without a character.
const char* orNull(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

}  // namespace

// What the owner's thread and ours share. Whichever lets go of it last destroys it, so that the owner never waits for a
// thread that hangs.
struct Broker::Connection {
  Connection(const MqttConfig& config, const Will& will, std::string subscribed)
      : address(addressOf(config.broker)),
        subscription(std::move(subscribed)),
        wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        client(mosquitto_new(("gsm-gateway-" + config.id).c_str(), false, this)) {
    if (client == nullptr || wake == -1) {
      throw std::runtime_error("mqtt: no client can be made");
    }
    secure(config);
    require(mosquitto_will_set(client, will.topic.c_str(), static_cast<int>(will.payload.size()), will.payload.data(),
                               kQos, true),
            "mqtt.id");
    // We run the thread, so the library must be told to lock.
    mosquitto_threaded_set(client, true);
    // Doubling, so that a broker that comes back is not overrun.
    mosquitto_reconnect_delay_set(client, kShortestDelaySeconds, kLongestDelaySeconds, true);
    mosquitto_max_inflight_messages_set(client, kMostInFlight);
    mosquitto_connect_callback_set(client, onConnect);
    mosquitto_disconnect_callback_set(client, onDisconnect);
    mosquitto_message_callback_set(client, onMessage);
    mosquitto_publish_callback_set(client, onPublish);
    mosquitto_subscribe_callback_set(client, onSubscribe);
    mosquitto_log_callback_set(client, onLog);
  }

  ~Connection() {
    mosquitto_destroy(client);
    close(wake);
  }

  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void secure(const MqttConfig& config) {
    if (!config.user.empty()) {
      const std::string password = config.passwordFile.empty() ? "" : passwordIn(config.passwordFile);
      require(mosquitto_username_pw_set(client, config.user.c_str(), orNull(password)), "mqtt.user");
    }
    if (address.isSecure) {
      const char* const systemsOwn = config.caFile.empty() ? "/etc/ssl/certs" : nullptr;
      require(mosquitto_tls_set(client, orNull(config.caFile), systemsOwn, orNull(config.certFile),
                                orNull(config.keyFile), nullptr),
              "mqtt.caFile, mqtt.certFile or mqtt.keyFile");
    }
  }

  void post(BrokerEvent event) {
    const std::lock_guard<std::mutex> guard(lock);
    // Only messages are dropped: a lost kConnected or kAcknowledged would never be made good.
    if (event.kind != BrokerEvent::Kind::kMessage || waitingBytes < kMostWaiting) {
      waitingBytes += sizeof event + event.payload.size();
      events.push_back(std::move(event));
      eventfd_write(wake, 1);
    }
  }

  // Sets it and returns the one before.
  std::string error(const std::string& text) {
    const std::lock_guard<std::mutex> guard(lock);
    return std::exchange(lastError, text);
  }

  // With what the library tells beside it: what TLS dislikes, or why the broker refuses.
  void postDisconnected(const std::string& reason) {
    isTold = true;
    const std::string detail = error("");
    post({BrokerEvent::Kind::kDisconnected, reason + (detail.empty() ? "" : " " + detail), "", "", 0});
  }

  // The thread. A first connection that fails must be tried again here, and one that TLS ends; the library does so for
  // the others.
  void run() {
    unsigned delay = kShortestDelaySeconds;
    for (;;) {
      isTold = false;
      int result = mosquitto_connect(client, address.host.c_str(), address.port, kKeepAliveSeconds);
      if (result == MOSQ_ERR_SUCCESS) {
        result = mosquitto_loop_forever(client, -1, 1);
      }
      if (result != MOSQ_ERR_SUCCESS && !isTold) {
        postDisconnected(mosquitto_strerror(result));
      }
      std::unique_lock<std::mutex> guard(lock);
      if (ended.wait_for(guard, std::chrono::seconds(delay), [this] { return isEnding; })) {
        break;
      }
      delay = std::exchange(wasConnected, false) ? kShortestDelaySeconds : std::min(delay * 2, kLongestDelaySeconds);
    }
    const std::lock_guard<std::mutex> guard(lock);
    isOver = true;
    ended.notify_all();
  }

  static void onConnect(mosquitto* client, void* self, int result) {
    auto* const connection = static_cast<Connection*>(self);
    if (result != 0) {
      connection->error(mosquitto_connack_string(result));  // told when the connection ends, which is at once
      return;
    }
    connection->wasConnected = true;
    // At every connection, though the session is persistent: a broker may have lost it.
    mosquitto_subscribe(client, nullptr, connection->subscription.c_str(), kQos);
    connection->post({BrokerEvent::Kind::kConnected, "", "", "", 0});
  }

  static void onDisconnect(mosquitto* /*client*/, void* self, int result) {
    static_cast<Connection*>(self)->postDisconnected(mosquitto_strerror(result));
  }

  static void onMessage(mosquitto* /*client*/, void* self, const mosquitto_message* message) {
    // A retained one would come again at each connection, and be sent again once its id is forgotten.
    if (!message->retain) {
      const std::size_t length = std::min(static_cast<std::size_t>(message->payloadlen), kLongestPayload + 1);
      static_cast<Connection*>(self)->post({BrokerEvent::Kind::kMessage, "", message->topic,
                                            std::string(static_cast<const char*>(message->payload), length), 0});
    }
  }

  static void onSubscribe(mosquitto* /*client*/, void* self, int /*request*/, int count, const int* granted) {
    if (count == 1 && granted[0] == kRefusedSubscription) {
      static_cast<Connection*>(self)->post({BrokerEvent::Kind::kSubscriptionRefused, "", "", "", 0});
    }
  }

  static void onLog(mosquitto* /*client*/, void* self, int level, const char* text) {
    if (level == MOSQ_LOG_ERR) {
      static_cast<Connection*>(self)->error(text);
    }
  }

  static void onPublish(mosquitto* /*client*/, void* self, int publication) {
    static_cast<Connection*>(self)->post({BrokerEvent::Kind::kAcknowledged, "", "", "", publication});
  }

  const Address address;
  const std::string subscription;
  const int wake;
  mosquitto* const client;
  std::mutex lock;
  std::condition_variable ended;
  std::vector<BrokerEvent> events;
  std::size_t waitingBytes = 0;
  std::string lastError;
  // Of the thread alone.
  bool wasConnected = false;
  bool isTold = false;  // that this attempt to connect is over
  // Under the lock again, as the members above those two.
  bool isEnding = false;
  bool isOver = true;  // there is no thread
};

Broker::Broker(const MqttConfig& config, const Will& will, const std::string& subscription) {
  // Never undone: a thread that was left behind may still be inside the library.
  mosquitto_lib_init();
  connection = std::make_shared<Connection>(config, will, subscription);
}

// A thread that hangs in the resolver is left behind with what it uses.
Broker::~Broker() {
  disconnect();
  std::unique_lock<std::mutex> guard(connection->lock);
  connection->ended.wait_for(guard, kPatience, [this] { return connection->isOver; });
}

void Broker::start() {
  connection->isOver = false;
  std::thread([shared = connection] { shared->run(); }).detach();
}

int Broker::descriptor() const {
  return connection->wake;
}

std::vector<BrokerEvent> Broker::take() {
  const std::lock_guard<std::mutex> guard(connection->lock);
  // Emptied together with the list, under the lock, so that no wake-up is lost.
  eventfd_t ignored = 0;
  eventfd_read(connection->wake, &ignored);
  connection->waitingBytes = 0;
  return std::exchange(connection->events, {});
}

std::optional<int> Broker::publish(const std::string& topic, const std::string& payload, bool isRetained) {
  int publication = 0;
  const int result = mosquitto_publish(connection->client, &publication, topic.c_str(),
                                       static_cast<int>(payload.size()), payload.data(), kQos, isRetained);
  return result == MOSQ_ERR_SUCCESS ? std::optional<int>(publication) : std::nullopt;
}

void Broker::disconnect() {
  {
    const std::lock_guard<std::mutex> guard(connection->lock);
    connection->isEnding = true;
    connection->ended.notify_all();
  }
  // Outside the lock: the library may call back from here.
  mosquitto_disconnect(connection->client);
}

}  // namespace orvix::gateway
