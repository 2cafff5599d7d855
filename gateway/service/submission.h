// What someone wants sent, and the plain values in which the service answers its doors. Pure functions; any thread.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "gateway/config/config.h"
#include "gateway/outbox/message.h"

namespace orvix::gateway {

// Who speaks. Socket, MQTT and each token are owners of their own.
struct Caller {
  std::string owner;  // "socket", "mqtt", "token:NAME"
  Rights rights;      // of the socket: everybody, no limit, alarm, all
};

// Why something was not done: an HTTP status and a sentence, the field where one is meant.
struct Refusal {
  int status = 422;
  std::string error;
  std::optional<std::string> field;
  std::optional<int> retryAfterSeconds;  // with 429 and 503
};

struct Submission {
  std::optional<std::string> id;
  std::vector<std::string> to;
  bool isList = false;  // `to` was a list: the answer is one, too
  std::string text;
  std::optional<Priority> priority;
  std::optional<int> expiresSeconds;
  OnUncertain onUncertain = OnUncertain::kHold;
  std::optional<std::string> modem;
};

// The body of POST /v1/messages and of gsm/ID/send. 400 no JSON, 422 no object, a field is wrong or unknown.
std::variant<Submission, Refusal> readSubmission(const std::string& text);

bool isUsableId(const std::string& id);  // 1 to 64 of A-Z a-z 0-9 . _ -

// A message as every door shows it; `offsetMs` brings service time to wall time.
nlohmann::json messageJson(const Message& message, std::int64_t offsetMs);
nlohmann::json refusalJson(const Refusal& refusal);

}  // namespace orvix::gateway
