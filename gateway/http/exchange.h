// A request and its answer as plain values, apart from the library that carries them. Any thread.
//
// Each lives in one thread at a time and owns its bytes, so that a request may outlast its connection.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "gateway/service/submission.h"

namespace orvix::gateway {

// Bytes of a body that are read; more is 413. A hundred numbers with the longest text take a tenth of it.
inline constexpr std::size_t kMaxBody = 65536;

// As it came over the line; nothing in it is checked yet.
struct Request {
  // Method and target as they came: the target is path and query, percent-encoded.
  std::string method;
  std::string target;
  std::string body;
  bool isTooLarge = false;       // more than kMaxBody came; `body` is empty then
  std::optional<Caller> caller;  // none: no token, or none that we know
};

// What a request names: the parts of its path between the slashes, and its query, both percent-decoded (RFC 3986).
struct Target {
  std::vector<std::string> path;             // "/v1/messages/": "v1", "messages", ""
  std::map<std::string, std::string> query;  // each key once; "" for one without a value
};

// What is to be sent back. The door adds what every answer has: no-store, nosniff, and the length.
struct Response {
  int status = 200;
  std::string body;
  std::string contentType = "application/json";
  std::vector<std::pair<std::string, std::string>> headers;
  // No body: the connection stays, and events are sent from now on.
  bool isEventStream = false;
};

// On one line. Bytes that are no UTF-8 become U+FFFD, so that it never throws.
// Escapes nothing but what JSON wants: whoever shows it to a terminal escapes it once more.
std::string jsonText(const nlohmann::json& json);
Response jsonResponse(int status, const nlohmann::json& json);
// {"error", "field"}, with Retry-After (in seconds, RFC 9110) where the refusal has it.
Response refusalResponse(const Refusal& refusal);
Response refusalResponse(int status, const std::string& error, std::optional<std::string> field = std::nullopt);

}  // namespace orvix::gateway
