// The rows of the API about messages.

#include <charconv>

#include "gateway/http/alertmanager.h"
#include "gateway/http/handlers.h"

namespace orvix::gateway {
namespace {

using nlohmann::json;

constexpr int kMessagesAPage = 100;
constexpr int kMaxMessagesAPage = 1000;

json messagesJson(const std::vector<Message>& messages, std::int64_t offsetMs) {
  json list = json::array();
  for (const Message& message : messages) {
    list.push_back(messageJson(message, offsetMs));
  }
  return list;
}

Response acceptedResponse(const Accepted& accepted, std::int64_t offsetMs) {
  json body = accepted.isBatch ? json({{"messages", messagesJson(accepted.messages, offsetMs)}})
                               : messageJson(accepted.messages.front(), offsetMs);
  // 202, since it is accepted and not sent; a repeat is no new acceptance.
  return jsonResponse(accepted.isNew ? 202 : 200, body);
}

Response messageResponse(const Call& call, const std::variant<Message, Refusal>& result) {
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    return refusalResponse(*refusal);
  }
  return jsonResponse(200, messageJson(std::get<Message>(result), call.service().offsetMs()));
}

std::variant<MessageFilter, Refusal> readFilter(const Call& call) {
  MessageFilter filter;
  if (const auto word = call.parameter("state")) {
    filter.state = messageStateOf(*word);
    if (!filter.state) {
      return Refusal{422, "no state of a message", "state", std::nullopt};
    }
  }
  // "next" is opaque to clients: a number that they give back.
  const auto after = numberIn(call.parameter("after").value_or("0"), 0, std::numeric_limits<std::int64_t>::max());
  if (!after) {
    return Refusal{422, "must be the \"next\" of an answer", "after", std::nullopt};
  }
  const auto limit = numberIn(call.parameter("limit").value_or(std::to_string(kMessagesAPage)), 1, kMaxMessagesAPage);
  if (!limit) {
    return Refusal{422, "must be a whole number from 1 to 1000", "limit", std::nullopt};
  }
  filter.afterSequence = *after;
  filter.limit = static_cast<int>(*limit);
  return filter;
}

std::variant<Outbox::Resolution, Refusal> readResolution(const std::string& body) {
  const auto read = readObject(body);
  if (const auto* const refusal = std::get_if<Refusal>(&read)) {
    return *refusal;
  }
  const json& document = std::get<json>(read);
  // A misspelt key is told rather than the one that it leaves missing.
  for (const auto& [key, value] : document.items()) {
    if (key != "as") {
      return Refusal{422, "unknown field", key, std::nullopt};
    }
  }
  // A value of another type equals none of the words, and one that is missing neither.
  const json as = document.value("as", json());
  if (as == "sent") {
    return Outbox::Resolution::kSent;
  }
  if (as == "resend") {
    return Outbox::Resolution::kResend;
  }
  if (as == "drop") {
    return Outbox::Resolution::kDrop;
  }
  return Refusal{422, "must be sent, resend or drop", "as", std::nullopt};
}

}  // namespace

std::optional<std::string> Call::parameter(const std::string& key) const {
  const auto found = target.query.find(key);
  return found == target.query.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::int64_t> numberIn(const std::string& text, std::int64_t low, std::int64_t high) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  // from_chars takes a minus sign, which no number here has.
  const bool isWhole = error == std::errc() && end == text.data() + text.size() && text.front() != '-';
  return isWhole && number >= low && number <= high ? std::optional(number) : std::nullopt;
}

Response postMessages(const Call& call) {
  const auto submission = readSubmission(call.request.body);
  if (const auto* const refusal = std::get_if<Refusal>(&submission)) {
    return refusalResponse(*refusal);
  }
  const auto result = call.service().submit(call.caller(), std::get<Submission>(submission));
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    return refusalResponse(*refusal);
  }
  return acceptedResponse(std::get<Accepted>(result), call.service().offsetMs());
}

Response listMessages(const Call& call) {
  const auto read = readFilter(call);
  if (const auto* const refusal = std::get_if<Refusal>(&read)) {
    return refusalResponse(*refusal);
  }
  MessageFilter filter = std::get<MessageFilter>(read);
  const auto limit = static_cast<std::size_t>(filter.limit++);  // one more tells whether there is a next page
  auto result = call.service().list(call.caller(), filter);
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    return refusalResponse(*refusal);
  }
  std::vector<Message>& messages = std::get<std::vector<Message>>(result);
  json next = nullptr;
  if (messages.size() > limit) {
    messages.resize(limit);
    next = std::to_string(messages.back().sequence);
  }
  return jsonResponse(200, {{"messages", messagesJson(messages, call.service().offsetMs())}, {"next", next}});
}

Response showMessage(const Call& call) {
  return messageResponse(call, call.service().show(call.caller(), call.part(2)));
}

Response showRecording(const Call& call) {
  // It stands in the path, so what cannot be a number is an address that is not there.
  const auto number = numberIn(call.part(4), 1, std::numeric_limits<int>::max());
  if (!number) {
    return refusalResponse(404, "attempts are numbered from 1");
  }
  auto result = call.service().recording(call.caller(), call.part(2), static_cast<int>(*number));
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    return refusalResponse(*refusal);
  }
  Response response;
  // Lines of JSON, of which none is the whole.
  response.contentType = "text/plain; charset=utf-8";
  response.body = std::move(std::get<std::string>(result));
  return response;
}

Response resolveMessage(const Call& call) {
  const auto resolution = readResolution(call.request.body);
  if (const auto* const refusal = std::get_if<Refusal>(&resolution)) {
    return refusalResponse(*refusal);
  }
  return messageResponse(call,
                         call.service().resolve(call.caller(), call.part(2), std::get<Outbox::Resolution>(resolution)));
}

Response cancelMessage(const Call& call) {
  return messageResponse(call, call.service().cancel(call.caller(), call.part(2)));
}

Response postAlerts(const Call& call) {
  // Without a `to` the service refuses the empty number, in its own words.
  const auto result = acceptAlerts(call.service(), call.caller(), call.parameter("to").value_or(""), call.request.body);
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    return refusalResponse(*refusal);
  }
  return acceptedResponse(std::get<Accepted>(result), call.service().offsetMs());
}

}  // namespace orvix::gateway
