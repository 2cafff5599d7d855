// The service's door for HTTP: a Unix socket for programs of this machine, and TCP for those with a token. One thread,
// the service's.
//
// Nothing here blocks. A request is answered only once its round is committed; when that fails, with 503, since nothing
// of it happened then.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gateway/http/api.h"
#include "gateway/http/eventStream.h"
#include "gateway/http/httpServer.h"

namespace orvix::gateway {

// At most 32 readers of events at a time, 503 beyond; each gets a comment every 15 s, by which both ends see a
// connection that is dead.
class HttpDoor {
 public:
  // Listens from now on. `served` is borrowed and must outlive the door. Throws std::runtime_error, with the
  // configuration's key, for an address that cannot be listened at.
  HttpDoor(Service* served, const HttpConfig& settings);
  // Closes every connection and removes the socket's file.
  ~HttpDoor();
  HttpDoor(const HttpDoor&) = delete;
  HttpDoor& operator=(const HttpDoor&) = delete;

  // To be polled for reading. The same as long as the door lives.
  std::vector<int> descriptors() const;
  // Serves whatever is ready; costs little when nothing is. To be called in every round of the loop.
  void onReady();
  // When onReady must be called without a ready descriptor, in ms of service time; none: never.
  std::optional<std::int64_t> nextTimeMs() const;
  // Nobody new is let in; connections that there are go on.
  void stopAccepting();

  // Where it listens, and what setOtherDoors adds.
  std::vector<DoorState> doors() const;
  // What else /v1/status tells of, besides this door.
  void setOtherDoors(std::function<std::vector<DoorState>()> others) { otherDoors = std::move(others); }

 private:
  // The socket's and TCP's differ only in how a caller is recognised.
  std::unique_ptr<HttpServer> server(int listener, std::function<std::optional<Caller>(const std::string&)> recognise);
  Response answerNow(const Request& request);
  // Replies when the round is committed, or with 503 when it is not.
  void handle(const Request& request, const HttpServer::Reply& reply);

  Service* const service;
  const HttpConfig config;
  Api api;
  std::function<std::vector<DoorState>()> otherDoors;
  EventStream events;
  std::int64_t lastCommentMs;
  std::string tcpAddress;
  std::vector<std::unique_ptr<HttpServer>> servers;  // of the socket, and of TCP where there is one
};

}  // namespace orvix::gateway
