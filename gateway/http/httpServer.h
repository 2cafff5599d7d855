// One listening socket and the requests that come in by it: libmicrohttpd behind plain values. One thread.
//
// A request is read whole, handed over, and its connection rests until it is replied to. Whoever takes too long is cut
// off: over a request, over taking its answer, or between two requests.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "gateway/http/eventStream.h"
#include "gateway/http/exchange.h"

namespace orvix::gateway {

// To be built, used and destroyed in one thread, and to outlive none of what its handlers refer to.
// Limits: 256 connections, 192 of them from one address; 32 kB of memory for each, which a request's head must fit
// into; 30 s for a request (5 s while more than half of the connections are in use) and 60 s for taking the answer. A
// body beyond kMaxBody is read on up to 1 MB, so that its sender hears of the 413, and cut off after that.
class HttpServer {
 public:
  // To be called once, at any time; does nothing when the client is gone.
  using Reply = std::function<void(const Response&)>;

  struct Handlers {
    // Who speaks, by the Authorization header ("" without one).
    std::function<std::optional<Caller>(const std::string& authorization)> recognise;
    // Answers now or later, in any order, from the same thread. Must not throw: the library that calls it is C.
    std::function<void(const Request&, Reply)> handle;
    // For a request that was answered with an event stream.
    std::function<std::unique_ptr<EventReader>(const Caller&)> beginEvents;
  };

  // Takes the listening descriptor over. Throws std::runtime_error when the library does not start.
  HttpServer(int listener, Handlers handlers);
  // Gives away what is replied and closes all connections.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // To be polled for reading.
  int descriptor() const;
  void onReady(std::int64_t nowMs);
  // When onReady must be called without a ready descriptor.
  std::optional<std::int64_t> nextTimeMs() const;
  // There may be new events.
  void wakeReaders();
  // Closes the listening descriptor; what is connected goes on.
  void stopAccepting();

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace orvix::gateway
