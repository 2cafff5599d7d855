// What someone wants sent, and the plain values in which the service answers its doors. Pure functions; any thread.
//
// HTTP and MQTT read the same JSON here, so that both take and refuse the same with the same words.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "gateway/config/config.h"
#include "gateway/message/message.h"

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
  // Key of the JSON object or of the query, for a form that wants to mark it.
  std::optional<std::string> field;
  std::optional<int> retryAfterSeconds;  // with 429 and 503
};

// With 503, where nobody can tell when the queue or the disk has room again; a budget tells its own time.
inline constexpr int kRetryAfterSeconds = 60;

// A request as it was given, its types checked: whether numbers and text are fit is the service's to say.
struct Submission {
  std::optional<std::string> id;
  std::vector<std::string> to;  // 1 to 100 numbers
  bool isList = false;          // `to` was a list: the answer is one, too
  // UTF-8, of any length that the door let in.
  std::string text;
  // None: normal, or the caller's highest where that is less.
  std::optional<Priority> priority;
  // From the acceptance on, 1 s to 31 days; none: the configuration's.
  std::optional<int> expiresSeconds;
  OnUncertain onUncertain = OnUncertain::kHold;
  std::optional<std::string> modem;  // the only one that may take it
};

// A body of fields that hold no more than lists. 400 no JSON, 422 no object, nested deeper, or a field there twice.
std::variant<nlohmann::json, Refusal> readObject(const std::string& text);

// The body of POST /v1/messages and of gsm/ID/send, UTF-8. 400 no JSON, 422 no object, a field is wrong, missing,
// unknown or there twice.
std::variant<Submission, Refusal> readSubmission(const std::string& text);

// A message as every door shows it; `offsetMs` brings service time to wall time.
nlohmann::json messageJson(const Message& message, std::int64_t offsetMs);
// {"error", "field"}; the status is the door's to carry.
nlohmann::json refusalJson(const Refusal& refusal);

}  // namespace orvix::gateway
