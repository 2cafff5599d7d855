#include "gateway/http/httpServer.h"

#include <microhttpd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <map>
#include <stdexcept>

namespace orvix::gateway {
namespace {

// Descriptors are few on small machines; one address leaves places for the others.
constexpr unsigned kMostClients = 256;
constexpr unsigned kMostClientsOfOneAddress = 192;
constexpr std::size_t kMemoryOfClient = std::size_t{32} * 1024;  // holds the request's head
constexpr std::size_t kMostDiscarded = 16 * kMaxBody;  // of a body that is too long, so that its sender hears why
constexpr std::int64_t kPatienceMs = 30000;            // for a request
constexpr std::int64_t kPatienceWhenCrowdedMs = 5000;  // while more than half of the places are taken
constexpr std::int64_t kPatienceForAnswerMs = 60000;   // until it is taken
constexpr std::size_t kEventBlock = 4096;

struct Client;

struct Server {
  HttpServer::Handlers handlers;
  MHD_Daemon* daemon = nullptr;
  int listener = -1;
  std::int64_t nowMs = 0;
  bool isClosing = false;   // nothing may rest any more
  bool hasResumed = false;  // the library does not wake a loop that is not its own
  std::map<MHD_Connection*, std::shared_ptr<Client>> clients;

  std::int64_t patienceMs() const { return clients.size() > kMostClients / 2 ? kPatienceWhenCrowdedMs : kPatienceMs; }
};

// One connection and the request that it is at.
// Owned by Server::clients; a reply that comes after its end finds nothing there any more.
struct Client : std::enable_shared_from_this<Client> {
  enum class Phase { kRequest, kHandling, kAnswer, kEvents };

  Client(Server* owner, MHD_Connection* handle, int socket)
      : server(owner), connection(handle), descriptor(socket), sinceMs(owner->nowMs) {}

  Server* const server;
  MHD_Connection* const connection;
  const int descriptor;
  Phase phase = Phase::kRequest;
  std::int64_t sinceMs;  // in this phase
  // The library does not look at a suspended connection: nothing comes from it until it is resumed.
  bool isSuspended = false;
  Request request;
  bool hasHead = false;
  std::size_t received = 0;  // of the body, in bytes
  std::unique_ptr<EventReader> reader;
  std::string pending;  // of an event, still to be sent

  void enter(Phase next) {
    phase = next;
    sinceMs = server->nowMs;
  }

  void beginRequest(const char* target) {
    request = Request();
    request.target = target;
    hasHead = false;
    received = 0;
  }

  MHD_Result takeHead(const char* method);
  MHD_Result takeBody(const char* data, std::size_t size);
  MHD_Result handle();
  void reply(const Response& response);
  ssize_t giveEvents(char* buffer, std::size_t size);

  void suspend() {
    MHD_suspend_connection(connection);
    isSuspended = true;
  }
  void resume() {
    if (isSuspended) {
      isSuspended = false;
      MHD_resume_connection(connection);
      server->hasResumed = true;
    }
  }
  // The library sees an end and closes the connection.
  void cutOff() {
    ::shutdown(descriptor, SHUT_RDWR);
    resume();
  }

  std::optional<std::int64_t> deadlineMs() const {
    switch (phase) {
      case Phase::kRequest:
        return sinceMs + server->patienceMs();
      case Phase::kAnswer:
        return sinceMs + kPatienceForAnswerMs;
      default:
        return std::nullopt;
    }
  }
};

std::string headerOf(MHD_Connection* connection, const char* name) {
  const char* const value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
  return value != nullptr ? value : "";
}

MHD_Result Client::takeHead(const char* method) {
  hasHead = true;
  request.method = method;
  request.caller = server->handlers.recognise(headerOf(connection, "Authorization"));
  // An honest Content-Length saves the reading; without a length, or with a wrong one, takeBody counts.
  if (std::strtoull(headerOf(connection, "Content-Length").c_str(), nullptr, 10) > kMostDiscarded) {
    request.isTooLarge = true;
    return handle();
  }
  return MHD_YES;
}

MHD_Result Client::takeBody(const char* data, std::size_t size) {
  received += size;
  if (received > kMaxBody) {
    request.isTooLarge = true;
    request.body.clear();
  } else {
    request.body.append(data, size);
  }
  // MHD_NO closes the connection: who sends that much does not listen anyway.
  return received > kMostDiscarded ? MHD_NO : MHD_YES;
}

MHD_Result Client::handle() {
  // Suspended before it is handed over, since the answer may come from inside the call.
  enter(Phase::kHandling);
  suspend();
  server->handlers.handle(request, [weak = weak_from_this()](const Response& response) {
    if (const std::shared_ptr<Client> client = weak.lock()) {
      client->reply(response);
    }
  });
  return MHD_YES;
}

ssize_t giveEventsTo(void* client, std::uint64_t /*position*/, char* buffer, std::size_t size) {
  return static_cast<Client*>(client)->giveEvents(buffer, size);
}

void Client::reply(const Response& response) {
  MHD_Response* answer = nullptr;
  if (response.isEventStream) {
    reader = server->handlers.beginEvents(*request.caller);
    // A first line at once, so that the reader sees the stream open.
    pending = ":\n\n";
    answer = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kEventBlock, giveEventsTo, this, nullptr);
  } else {
    answer = MHD_create_response_from_buffer(response.body.size(), const_cast<char*>(response.body.data()),
                                             MHD_RESPMEM_MUST_COPY);
  }
  MHD_add_response_header(answer, MHD_HTTP_HEADER_CONTENT_TYPE, response.contentType.c_str());
  // Every answer is of this moment, and may hold somebody's messages.
  MHD_add_response_header(answer, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
  MHD_add_response_header(answer, "X-Content-Type-Options", "nosniff");
  for (const auto& [name, value] : response.headers) {
    MHD_add_response_header(answer, name.c_str(), value.c_str());
  }
  MHD_queue_response(connection, static_cast<unsigned>(response.status), answer);
  // Only this reference: the queue holds its own.
  MHD_destroy_response(answer);
  enter(response.isEventStream ? Phase::kEvents : Phase::kAnswer);
  resume();
}

ssize_t Client::giveEvents(char* buffer, std::size_t size) {
  if (pending.empty()) {
    pending = reader->next();
  }
  if (server->isClosing || reader->isTooSlow()) {
    return MHD_CONTENT_READER_END_WITH_ERROR;
  }
  // Nothing yet: rests until wakeReaders.
  if (pending.empty()) {
    suspend();
    return 0;
  }
  // An event may be larger than the block.
  const std::size_t given = pending.copy(buffer, size);
  pending.erase(0, given);
  return static_cast<ssize_t>(given);
}

Client& clientOf(MHD_Connection* connection) {
  return *static_cast<Client*>(MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context);
}

// Called with the connection's own context, which is where clientOf finds it again.
void onConnection(void* server, MHD_Connection* connection, void** context, MHD_ConnectionNotificationCode code) {
  auto* const owner = static_cast<Server*>(server);
  if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
    owner->clients.erase(connection);
    return;
  }
  const int descriptor = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
  const auto client = std::make_shared<Client>(owner, connection, descriptor);
  *context = client.get();
  owner->clients[connection] = client;
}

// The target as it came: what the library gives to onRequest is without its query, and decoded, which loses "%2F".
void* onTarget(void* /*server*/, const char* target, MHD_Connection* connection) {
  clientOf(connection).beginRequest(target);
  return nullptr;
}

// Called once for the head, then for each piece of the body, then once more without data.
MHD_Result onRequest(void* /*server*/, MHD_Connection* connection, const char* /*path*/, const char* method,
                     const char* /*version*/, const char* data, std::size_t* size, void** /*context*/) {
  Client& client = clientOf(connection);
  if (client.server->isClosing) {
    return MHD_NO;
  }
  if (!client.hasHead) {
    return client.takeHead(method);
  }
  if (*size > 0) {
    const std::size_t taken = *size;
    *size = 0;
    return client.takeBody(data, taken);
  }
  return client.handle();
}

void onCompleted(void* /*server*/, MHD_Connection* connection, void** /*context*/,
                 MHD_RequestTerminationCode /*code*/) {
  Client& client = clientOf(connection);
  // A connection may bring its next request: nothing of this one is left.
  client.reader.reset();
  client.request = Request();
  client.enter(Client::Phase::kRequest);
}

}  // namespace

struct HttpServer::State final : Server {};

HttpServer::HttpServer(int listener, Handlers handlers) : state(std::make_unique<State>()) {
  state->handlers = std::move(handlers);
  state->listener = listener;
  Server* const server = state.get();
  // An epoll of the library's own, which is one descriptor to our loop; no thread of its own.
  state->daemon = MHD_start_daemon(MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, onRequest, server,  //
                                   MHD_OPTION_LISTEN_SOCKET, listener,                                                //
                                   MHD_OPTION_CONNECTION_LIMIT, kMostClients,                                         //
                                   MHD_OPTION_PER_IP_CONNECTION_LIMIT, kMostClientsOfOneAddress,                      //
                                   MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMemoryOfClient,                               //
                                   MHD_OPTION_NOTIFY_CONNECTION, onConnection, server,                                //
                                   MHD_OPTION_NOTIFY_COMPLETED, onCompleted, server,                                  //
                                   MHD_OPTION_URI_LOG_CALLBACK, onTarget, server, MHD_OPTION_END);
  if (state->daemon == nullptr) {
    close(listener);
    throw std::runtime_error("the HTTP library does not start");
  }
}

HttpServer::~HttpServer() {
  stopAccepting();
  state->isClosing = true;
  for (const auto& [connection, client] : state->clients) {
    client->resume();
  }
  // Gives every client that was resumed the end of its answer, before all are closed.
  MHD_run(state->daemon);
  MHD_stop_daemon(state->daemon);
}

int HttpServer::descriptor() const {
  return MHD_get_daemon_info(state->daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
}

void HttpServer::onReady(std::int64_t nowMs) {
  state->nowMs = nowMs;
  state->hasResumed = false;
  MHD_run(state->daemon);
  // After the run, so that what came in time counts.
  bool hasCutOff = false;
  for (const auto& [connection, client] : state->clients) {
    if (client->deadlineMs().value_or(nowMs + 1) <= nowMs) {
      client->cutOff();
      hasCutOff = true;
    }
  }
  if (hasCutOff) {
    MHD_run(state->daemon);
  }
}

std::optional<std::int64_t> HttpServer::nextTimeMs() const {
  // What was resumed is served only by the next run.
  if (state->hasResumed) {
    return state->nowMs;
  }
  std::int64_t next = std::numeric_limits<std::int64_t>::max();
  MHD_UNSIGNED_LONG_LONG waitMs = 0;
  if (MHD_get_timeout(state->daemon, &waitMs) == MHD_YES) {
    next = state->nowMs + static_cast<std::int64_t>(waitMs);
  }
  for (const auto& [connection, client] : state->clients) {
    const bool isToBeWoken = client->isSuspended && client->reader && client->reader->hasNews();
    next = std::min(next, isToBeWoken ? state->nowMs : client->deadlineMs().value_or(next));
  }
  return next == std::numeric_limits<std::int64_t>::max() ? std::nullopt : std::optional(next);
}

void HttpServer::wakeReaders() {
  for (const auto& [connection, client] : state->clients) {
    if (client->reader && client->reader->isTooSlow()) {
      client->cutOff();
    } else if (client->reader && client->reader->hasNews()) {
      client->resume();
    }
  }
}

void HttpServer::stopAccepting() {
  if (state->listener >= 0) {
    MHD_quiesce_daemon(state->daemon);
    // Quiesced, the library no longer owns it.
    close(state->listener);
    state->listener = -1;
  }
}

}  // namespace orvix::gateway
