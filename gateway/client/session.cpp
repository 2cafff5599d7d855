#include "gateway/client/session.h"

#include <fstream>

#include "gateway/client/failure.h"
#include "gateway/client/httpClient.h"

namespace orvix::gateway::client {
namespace {

using nlohmann::json;

// That of HttpConfig, which this room does not read: a client may run where the service's own files are closed to it.
constexpr char kDefaultSocket[] = "/run/orvix/gateway.sock";
constexpr int kFirstError = 400;

std::string wordsOf(const HttpReply& reply) {
  const json body = json::parse(reply.body, nullptr, false);
  // Not the service's own answer, such as one of the library's.
  if (!body.is_object() || !body.value("error", json()).is_string()) {
    return "the service refuses with status " + std::to_string(reply.status);
  }
  const json field = body.value("field", json());
  return (field.is_string() ? field.get<std::string>() + ": " : "") + body["error"].get<std::string>();
}

}  // namespace

Session::Session(const Options& options) {
  std::ifstream file(options.configFile);
  const json config = json::parse(file, nullptr, false);
  if (!file.is_open() || !config.is_object()) {
    throw Failure(kBadConfiguration,
                  options.configFile + (file.is_open() ? ": is no JSON object" : ": cannot be read"));
  }
  // Nothing else of the file matters to a client: what is wrong there is the service's to tell.
  const json http = config.value("http", json::object());
  const json socket = http.is_object() ? http.value("socket", json(kDefaultSocket)) : json();
  if (!socket.is_string()) {
    throw Failure(kBadConfiguration, options.configFile + ": http.socket: must be a path");
  }
  socketPath = socket.get<std::string>();
}

json Session::ask(const std::string& method, const std::string& target, const std::string& body) const try {
  const HttpReply reply = request(socketPath, method, target, body);
  if (reply.status >= kFirstError) {
    throw Failure(kRefused, wordsOf(reply));
  }
  json answer = json::parse(reply.body, nullptr, false);
  if (answer.is_discarded()) {
    throw Failure(kFailure, "the service's answer cannot be read");
  }
  return answer;
} catch (const NoService& error) {
  throw Failure(kNotRunning, error.what());
} catch (const NoAnswer& error) {
  throw Unanswered(error.what());
}

std::string messageTarget(const std::string& id, const std::string& rest) {
  return "/v1/messages/" + percentEncoded(id) + rest;
}

// A terminal in another character set gives bytes that JSON cannot hold.
std::string jsonBody(const json& json) try { return json.dump(); } catch (const json::exception&) {
  throw Failure(kUsage, "what you gave is no UTF-8");
}

}  // namespace orvix::gateway::client
