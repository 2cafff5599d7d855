#include "gateway/http/httpDoor.h"

#include <glog/logging.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "gateway/http/authorization.h"
#include "gateway/http/listener.h"

namespace orvix::gateway {
namespace {

// Proxies and browsers give a silent connection up after half a minute and more.
constexpr std::int64_t kCommentMs = 15000;
// Each holds one of the places for clients as long as he likes.
constexpr int kMostReaders = 32;

Response notNow(const std::string& error) {
  return refusalResponse(Refusal{503, error, std::nullopt, kRetryAfterSeconds});
}

template <typename Listen>
int listenOrTell(const char* key, Listen listen, const std::string& address) {
  try {
    return listen(address);
  } catch (const std::runtime_error& error) {
    // With the key, for a person has to change the configuration.
    throw std::runtime_error(std::string(key) + ": " + error.what());
  }
}

}  // namespace

HttpDoor::HttpDoor(Service* served, const HttpConfig& settings)
    : service(served),
      config(settings),
      api{served, [this] { return doors(); }},
      events(served),
      lastCommentMs(served->nowMs()) {
  // Its callers are known by the file's mode: no header is looked at.
  servers.push_back(server(listenOrTell("http.socket", listenOnPath, config.socket),
                           [](const std::string&) { return std::optional(socketCaller()); }));
  LOG(INFO) << "http: listening on " << config.socket;
  if (!config.listen.empty()) {
    const int listener = listenOrTell("http.listen", listenOnTcp, config.listen);
    tcpAddress = tcpAddressOf(listener);
    servers.push_back(
        server(listener, [this](const std::string& header) { return callerWith(header, config.tokens); }));
    LOG(INFO) << "http: listening on " << tcpAddress;
  }
  // Last, when nothing can fail any more: a listener cannot be taken back.
  service->addListener(&events);
}

HttpDoor::~HttpDoor() {
  // Before the file goes: nobody is let in any more.
  servers.clear();
  unlink(config.socket.c_str());
}

std::unique_ptr<HttpServer> HttpDoor::server(int listener,
                                             std::function<std::optional<Caller>(const std::string&)> recognise) {
  HttpServer::Handlers handlers;
  handlers.recognise = std::move(recognise);
  handlers.handle = [this](const Request& request, const HttpServer::Reply& reply) { handle(request, reply); };
  handlers.beginEvents = [this](const Caller& caller) { return std::make_unique<EventReader>(&events, caller); };
  return std::make_unique<HttpServer>(listener, std::move(handlers));
}

Response HttpDoor::answerNow(const Request& request) try {
  Response response = answer(api, request);
  return response.isEventStream && events.readers() >= kMostReaders ? notNow("too many readers of events") : response;
} catch (const std::exception& error) {  // the library that called us knows none
  LOG(ERROR) << "http: " << error.what();
  return notNow("a fault of the service, see its log");
}

// What an answer tells may be undone until it is committed: it leaves only then.
void HttpDoor::handle(const Request& request, const HttpServer::Reply& reply) {
  Response response = answerNow(request);
  service->onCommitted([reply, response = std::move(response)](bool isCommitted) {
    reply(isCommitted ? response : notNow("the outbox cannot be written at the moment, nothing was changed"));
  });
}

std::vector<int> HttpDoor::descriptors() const {
  std::vector<int> all;
  for (const auto& server : servers) {
    all.push_back(server->descriptor());
  }
  return all;
}

void HttpDoor::onReady() {
  const std::int64_t nowMs = service->nowMs();
  // Before the readers are woken, so that it goes out in this round.
  if (nowMs - lastCommentMs >= kCommentMs) {
    lastCommentMs = nowMs;
    events.comment();
  }
  for (const auto& server : servers) {
    server->wakeReaders();
    server->onReady(nowMs);
  }
}

std::optional<std::int64_t> HttpDoor::nextTimeMs() const {
  std::optional<std::int64_t> next;
  if (events.readers() > 0) {
    next = lastCommentMs + kCommentMs;
  }
  for (const auto& server : servers) {
    if (const auto time = server->nextTimeMs()) {
      next = std::min(next.value_or(*time), *time);
    }
  }
  return next;
}

void HttpDoor::stopAccepting() {
  for (const auto& server : servers) {
    server->stopAccepting();
  }
}

std::vector<DoorState> HttpDoor::doors() const {
  std::vector<DoorState> all = {{"socket", config.socket, "listening"}};
  if (!tcpAddress.empty()) {
    all.push_back({"tcp", tcpAddress, "listening"});
  }
  for (const DoorState& other : otherDoors ? otherDoors() : std::vector<DoorState>()) {
    all.push_back(other);
  }
  return all;
}

}  // namespace orvix::gateway
