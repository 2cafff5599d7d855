// The HTTP door through its sockets: one round trip each, hostile clients, readers of events. Time is the test's.
#include "gateway/http/httpDoor.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "tests/world/gatewayWorld.h"

namespace orvix::gateway {
namespace {

using world::ServiceTime;

constexpr int kMostRounds = 300000;

class Peer {
 public:
  explicit Peer(int connected) : descriptor(connected) {}
  Peer(Peer&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() { close(descriptor); }

  void send(const std::string& bytes) const { ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
  // What has come so far; isOver is set at the end.
  const std::string& receive() {
    char buffer[65536];
    for (ssize_t size = 1; size > 0;) {
      size = recv(descriptor, buffer, sizeof buffer, MSG_DONTWAIT);
      isOver = isOver || size == 0 || (size < 0 && errno != EAGAIN);
      received.append(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
    }
    return received;
  }

  int descriptor;
  bool isOver = false;
  std::string received;
};

class HttpDoorTest : public testing::Test, protected world::GatewayWorld {
 protected:
  HttpDoorTest() {
    start();
    config.http.socket = folder.file("run/gateway.sock");
    config.http.listen = "127.0.0.1:0";
    door.emplace(&*service, config.http);
  }

  // One round of the service's loop; waits at most for a moment, and not at all when there is something to do.
  void round() {
    std::vector<pollfd> watched;
    for (const int descriptor : door->descriptors()) {
      watched.push_back({descriptor, POLLIN, 0});
    }
    const bool isDue = door->nextTimeMs().value_or(service->nowMs() + 1) <= service->nowMs();
    poll(watched.data(), watched.size(), isDue ? 0 : 1);
    door->onReady();
    service->settle();
  }

  // The clocks are the test's, so that rounds bound the wait: minutes, as each that finds nothing takes a millisecond.
  template <typename Condition>
  bool until(Condition condition) {
    for (int i = 0; i < kMostRounds; ++i) {
      if (condition()) {
        return true;
      }
      round();
    }
    return false;
  }

  Peer connectTo(bool isTcp) {
    if (isTcp) {
      const std::string address = door->doors()[1].address;
      sockaddr_in to{};
      to.sin_family = AF_INET;
      to.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(address.rfind(':') + 1))));
      to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      return connectWith(AF_INET, to);
    }
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    config.http.socket.copy(to.sun_path, sizeof to.sun_path - 1);
    return connectWith(AF_UNIX, to);
  }

  template <typename Address>
  Peer connectWith(int family, const Address& address) {
    const int descriptor = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return Peer(descriptor);
  }

  // All that comes back until the connection is closed.
  std::string exchange(bool isTcp, const std::string& bytes) {
    Peer peer = connectTo(isTcp);
    peer.send(bytes);
    EXPECT_TRUE(until([&] {
      peer.receive();
      return peer.isOver;
    })) << bytes.substr(0, 100);
    return peer.received;
  }

  std::optional<HttpDoor> door;
};

std::string post(const std::string& body, const std::string& headers = "") {
  return "POST /v1/messages HTTP/1.1\r\nHost: x\r\nConnection: close\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string get(const std::string& target, const std::string& headers = "Connection: close\r\n") {
  return "GET " + target + " HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n";
}

std::string statusOf(const std::string& answer) {
  return answer.substr(0, answer.find("\r\n")).substr(0, 12);
}

const char kMessage[] = R"({"id":"a","to":"+491701234567","text":"x"})";

TEST_F(HttpDoorTest, answersAtBothSockets) {
  struct stat file {};
  ASSERT_EQ(stat(config.http.socket.c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777U, 0660U);
  EXPECT_EQ(statusOf(exchange(false, post(kMessage))), "HTTP/1.1 202");
  EXPECT_EQ(statusOf(exchange(true, post(kMessage))), "HTTP/1.1 401");
  EXPECT_EQ(statusOf(exchange(true, post(kMessage, "Authorization: Bearer all\r\n"))), "HTTP/1.1 409");
  const std::string head = exchange(false, "HEAD /v1/messages HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(statusOf(head), "HTTP/1.1 200");
  EXPECT_EQ(head.size(), head.find("\r\n\r\n") + 4) << "no body";
}

TEST_F(HttpDoorTest, replacesAStaleSocketAndNothingElse) {
  EXPECT_THROW(HttpDoor(&*service, config.http), std::runtime_error) << "one is listening";
  const std::string path = folder.file("stale");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int stale = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(stale);
  EXPECT_NO_THROW(HttpDoor(&*service, {path, "", {}}));
  EXPECT_NE(access(path.c_str(), F_OK), 0) << "taken away at the end";
  EXPECT_THROW(HttpDoor(&*service, {folder.file("outbox.db"), "", {}}), std::runtime_error);
  EXPECT_THROW(HttpDoor(&*service, {folder.file(std::string(120, 'x')), "", {}}), std::runtime_error);
  EXPECT_THROW(HttpDoor(&*service, {path, door->doors()[1].address, {}}), std::runtime_error) << "a port in use";
}

TEST_F(HttpDoorTest, staysUprightUnderHostileClients) {
  const std::string large(70000, 'x');
  const std::pair<std::string, const char*> rows[] = {
      {post(large), "HTTP/1.1 413"},
      {"POST /v1/messages HTTP/1.1\r\nHost: x\r\nContent-Length: 999999999\r\n\r\n", "HTTP/1.1 413"},
      {"POST /v1/messages HTTP/1.1\r\nHost: x\r\nConnection: close\r\nTransfer-Encoding: chunked\r\n\r\n11170\r\n" +
           large + "\r\n0\r\n\r\n",
       "HTTP/1.1 413"},
      {"GET / HTTP/1.1\r\nHost: x\r\nX: " + std::string(60000, 'x') + "\r\n\r\n", "HTTP/1.1 431"},
      {"GET /" + std::string(60000, 'x') + " HTTP/1.1\r\n\r\n", "HTTP/1.1 414"},
      {"POST /v1/messages HTTP/1.1\r\nHost: x\r\nContent-Length: -1\r\n\r\n", "HTTP/1.1 400"},
      {get("/v1/messages/%00%ff"), "HTTP/1.1 404"},
  };
  for (const auto& [request, status] : rows) {
    EXPECT_EQ(statusOf(exchange(false, request)), status) << request.substr(0, 80);
  }
  for (const std::string& slow : {std::string(), std::string("POST /v1/mess"), post(kMessage).substr(0, 90)}) {
    Peer peer = connectTo(true);
    peer.send(slow);
    for (int i = 0; i < 20; ++i) {
      round();
    }
    EXPECT_FALSE((peer.receive(), peer.isOver));
    ServiceTime::instance().pass(31000);
    EXPECT_TRUE(until([&] { return peer.receive(), peer.isOver; })) << "dropped: " << slow;
  }
}

TEST_F(HttpDoorTest, servesOnWhileAThousandConnectionsIdle) {
  std::vector<Peer> idle;
  for (int i = 0; i < 1000; ++i) {
    idle.push_back(connectTo(true));
    if (i % 50 == 0) {
      round();
    }
  }
  EXPECT_EQ(statusOf(exchange(false, get("/v1/messages"))), "HTTP/1.1 200") << "the socket has places of its own";
  const auto turnedAway = [&] {
    return std::count_if(idle.begin(), idle.end(), [](Peer& peer) { return peer.receive(), peer.isOver; });
  };
  EXPECT_TRUE(until([&] { return turnedAway() == 1000 - 192; })) << "one address has not all places";
  ServiceTime::instance().pass(6000);  // a crowd is given less time
  EXPECT_TRUE(until([&] { return turnedAway() == 1000; }));
  EXPECT_EQ(statusOf(exchange(true, get("/healthz"))), "HTTP/1.1 200");
}

TEST_F(HttpDoorTest, refusesWhatAFullDiskDoesNotTake) {
  fillDisk(true);
  const std::string refused = exchange(false, post(kMessage));
  const std::string listed = exchange(false, get("/v1/messages"));
  fillDisk(false);
  EXPECT_EQ(statusOf(refused), "HTTP/1.1 503") << refused;
  EXPECT_NE(refused.find("\r\nRetry-After: "), std::string::npos) << refused;
  EXPECT_NE(listed.find(R"({"messages":[],"next":null})"), std::string::npos) << listed;
  EXPECT_EQ(statusOf(exchange(false, post(kMessage))), "HTTP/1.1 202");
}

TEST_F(HttpDoorTest, tellsEventsToItsReaders) {
  Peer reader = connectTo(false);
  reader.send(get("/v1/events", ""));
  Peer limited = connectTo(true);
  limited.send(get("/v1/events", "Authorization: Bearer one\r\n"));
  const auto has = [](Peer* peer, const char* text) { return peer->receive().find(text) != std::string::npos; };
  ASSERT_TRUE(until([&] { return has(&reader, ":\n\n") && has(&limited, ":\n\n"); }));
  exchange(false, post(kMessage));
  exchange(true, post(R"({"id":"b","to":"+491701234567","text":"y"})", "Authorization: Bearer one\r\n"));
  EXPECT_TRUE(
      until([&] { return has(&reader, "id: 2\nevent: message\n") && has(&limited, "id: 1\nevent: message\n"); }));
  EXPECT_NE(reader.received.find("\"id\":\"a\""), std::string::npos);
  EXPECT_EQ(limited.received.find("\"id\":\"a\""), std::string::npos) << "another owner's message";
  reader.received.clear();
  ServiceTime::instance().pass(15000);
  EXPECT_TRUE(until([&] { return has(&reader, ":\n\n"); })) << "a comment";
}

TEST_F(HttpDoorTest, dropsAReaderThatIsTooSlow) {
  Peer reader = connectTo(false);
  const int small = 4096;
  setsockopt(reader.descriptor, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
  reader.send(get("/v1/events", ""));
  ASSERT_TRUE(until([&] { return reader.receive().find(":\n\n") != std::string::npos; }));
  std::string numbers;
  for (int i = 0; i < 100; ++i) {
    numbers += (i == 0 ? "\"" : ",\"") + std::to_string(1000000 + i) + "\"";
  }
  for (int i = 0; i < 60; ++i) {
    EXPECT_EQ(statusOf(exchange(false, post(R"({"text":"x","to":[)" + numbers + "]}"))), "HTTP/1.1 202");
  }
  EXPECT_TRUE(until([&] { return reader.receive(), reader.isOver; }));
  EXPECT_LT(reader.received.size(), 60U * 100U * 300U) << "it was not told everything";
}

}  // namespace
}  // namespace orvix::gateway
