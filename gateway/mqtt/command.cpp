#include "gateway/mqtt/command.h"

#include "gateway/message/name.h"
#include "gateway/mqtt/broker.h"

namespace orvix::gateway {
namespace {

using nlohmann::json;

// Read apart from the rest, so that a refusal names its message also where another field is wrong. An unusable id is
// left out: it becomes a part of a topic, where "/", "+" and "#" have a meaning.
std::string idIn(const std::string& payload) {
  const json document = json::parse(payload, nullptr, false);
  const bool hasId = document.is_object() && document.contains("id") && document["id"].is_string();
  const std::string id = hasId ? document["id"].get<std::string>() : "";
  return isName(id) ? id : "";
}

}  // namespace

Command readCommand(const std::string& payload) {
  if (payload.size() > kLongestPayload) {
    return {"", Refusal{413, "the message is longer than 64 kB", std::nullopt, std::nullopt}};
  }
  Command command{idIn(payload), readSubmission(payload)};
  if (command.id.empty() && std::holds_alternative<Submission>(command.submission)) {
    command.submission = Refusal{422, "missing", "id", std::nullopt};
  }
  return command;
}

}  // namespace orvix::gateway
