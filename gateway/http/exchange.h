// A request and its answer as plain values, apart from the library that carries them. Any thread.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "gateway/service/submission.h"

namespace orvix::gateway {

inline constexpr std::size_t kMaxBody = 65536;  // bytes

struct Request {
  std::string method;
  std::string target;  // as it came: path and query, percent-encoded
  std::string body;
  bool isTooLarge = false;       // more than kMaxBody came; `body` is empty then
  std::optional<Caller> caller;  // none: no token, or none that we know
};

// What a request names: the parts of its path between the slashes, and its query.
struct Target {
  std::vector<std::string> path;
  std::map<std::string, std::string> query;
};

struct Response {
  int status = 200;
  std::string body;
  std::string contentType = "application/json";
  std::vector<std::pair<std::string, std::string>> headers;
  bool isEventStream = false;  // no body: events from now on
};

// Bytes that are no UTF-8 become U+FFFD.
std::string jsonText(const nlohmann::json& json);
Response jsonResponse(int status, const nlohmann::json& json);
// With Retry-After where the refusal has it.
Response refusalResponse(const Refusal& refusal);
Response refusalResponse(int status, const std::string& error, std::optional<std::string> field = std::nullopt);

}  // namespace orvix::gateway
