#include "gateway/http/alertmanager.h"

#include <algorithm>

#include "common/duration.h"
#include "common/text.h"
#include "gateway/http/exchange.h"
#include "gateway/service/transliterate.h"
#include "gateway/token/token.h"

namespace orvix::gateway {
namespace {

using nlohmann::json;

// Alertmanager gives a notification up sooner; a reminder comes hours later (repeat_interval).
constexpr std::int64_t kRetryMs = 15 * kMinuteMs;
// So that the tail of a text stays short, whatever a payload claims.
constexpr std::uint64_t kMostCounted = 999999;
constexpr std::size_t kLongestHead = 1000;  // bytes, far more than any message holds

Refusal wrong(const char* field, const char* error) {
  return {422, error, field, std::nullopt};
}

// "" when there is no such string.
std::string stringIn(const json& object, const char* key) {
  const auto found = object.is_object() ? object.find(key) : object.end();
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::string stringIn(const json& object, const char* outer, const char* key) {
  return object.contains(outer) ? stringIn(object.at(outer), key) : std::string();
}

std::string firstOf(std::initializer_list<std::string> texts) {
  const auto found = std::find_if(texts.begin(), texts.end(), [](const std::string& text) { return !text.empty(); });
  return found == texts.end() ? std::string() : *found;
}

// The alert that stands for its group: the first one of the group's own status.
// A group of several alerts is firing while one of them is: the first in the list may be resolved already.
const json& leadingAlert(const json& payload) {
  const json& alerts = payload.at("alerts");
  const auto found = std::find_if(alerts.begin(), alerts.end(), [&](const json& alert) {
    return stringIn(alert, "status") == stringIn(payload, "status");
  });
  return found == alerts.end() ? alerts.front() : *found;
}

std::string headOf(const json& payload) {
  const json& alert = leadingAlert(payload);
  // "alertname" is a convention, not a rule.
  const std::string name = firstOf({stringIn(alert, "labels", "alertname"), "alert"});
  const std::string what =
      firstOf({stringIn(alert, "annotations", "summary"), stringIn(alert, "annotations", "description"),
               stringIn(alert, "annotations", "message"), stringIn(alert, "labels", "instance")});
  return toUpper(stringIn(payload, "status")) + ": " + name + (what.empty() ? "" : ": " + what);
}

// " (+N more)"; Alertmanager itself may have cut the list.
std::string tailOf(const json& payload) {
  const auto truncated = payload.find("truncatedAlerts");
  const bool isCounted = truncated != payload.end() && truncated->is_number_unsigned();
  const std::uint64_t left = isCounted ? truncated->get<std::uint64_t>() : 0;
  const std::uint64_t rest = payload.at("alerts").size() - 1 + std::min(left, kMostCounted);
  return rest == 0 ? "" : " (+" + std::to_string(rest) + " more)";
}

// On one line, of what the charset carries.
std::string carriedBy(hostkit::Charset charset, const std::string& text) {
  // " " for what has no likeness: a text with a gap is better than none.
  std::string carried = transliterated(text.substr(0, kLongestHead), " ");
  std::replace(carried.begin(), carried.end(), '`', '\'');
  for (char& character : carried) {
    if (character == '\n' || !hostkit::textFit(std::string(1, character), charset).isFit()) {
      character = ' ';
    }
  }
  return carried;
}

std::string shortened(std::string head, const std::string& tail, hostkit::Charset charset) {
  const auto isFit = [&](const std::string& text) { return hostkit::textFit(text + tail, charset).isFit(); };
  if (isFit(head)) {
    return head + tail;
  }
  while (!isFit(head + "...")) {
    // From the end, where the least important words stand; three dots show it.
    head.pop_back();
  }
  return head + "..." + tail;
}

std::string identityOf(const json& payload) {
  std::vector<std::string> alerts;
  for (const json& alert : payload.at("alerts")) {
    alerts.push_back(stringIn(alert, "fingerprint") + " " + stringIn(alert, "startsAt"));
  }
  // Their order may change from one try to the next.
  std::sort(alerts.begin(), alerts.end());
  return jsonText({stringIn(payload, "groupKey"), stringIn(payload, "status"), alerts});
}

std::optional<Refusal> faultOf(const json& payload) {
  if (!payload.is_object()) {
    return Refusal{422, "the body is no object", std::nullopt, std::nullopt};
  }
  if (const std::string status = stringIn(payload, "status"); status != "firing" && status != "resolved") {
    return wrong("status", "must be firing or resolved");
  }
  if (stringIn(payload, "groupKey").empty()) {
    return wrong("groupKey", "missing");
  }
  // Looked at where it stands: a copy of what nests deep would exhaust the stack.
  const auto alerts = payload.find("alerts");
  const auto isObject = [](const json& alert) { return alert.is_object(); };
  if (alerts == payload.end() || !alerts->is_array() || alerts->empty() ||
      !std::all_of(alerts->begin(), alerts->end(), isObject)) {
    return wrong("alerts", "must be a list of at least one alert");
  }
  return std::nullopt;
}

// The widest that there is: what one modem carries can go out.
hostkit::Charset charsetOf(const Config& config) {
  const bool hasIra = std::any_of(config.modems.begin(), config.modems.end(),
                                  [](const ModemConfig& modem) { return modem.charset == hostkit::Charset::kIra; });
  return hasIra ? hostkit::Charset::kIra : hostkit::Charset::kGsm;
}

std::variant<Accepted, Refusal> submitAlarm(Service& service, const Caller& caller, const Submission& submission) {
  auto result = service.submit(caller, submission);
  if (auto* const refusal = std::get_if<Refusal>(&result); refusal != nullptr && refusal->status == 429) {
    // 4xx is final to Alertmanager, and a budget is not.
    refusal->status = 503;
  }
  return result;
}

}  // namespace

std::variant<AlertNotice, Refusal> readAlerts(const std::string& body, hostkit::Charset charset) {
  const json payload = json::parse(body, nullptr, false);
  if (payload.is_discarded()) {
    return Refusal{400, "the body is no JSON", std::nullopt, std::nullopt};
  }
  if (const auto fault = faultOf(payload)) {
    return *fault;
  }
  return AlertNotice{shortened(carriedBy(charset, headOf(payload)), tailOf(payload), charset), identityOf(payload)};
}

std::variant<Accepted, Refusal> acceptAlerts(Service& service, const Caller& caller, std::string to,
                                             const std::string& body) {
  const auto read = readAlerts(body, charsetOf(service.config()));
  if (const auto* const refusal = std::get_if<Refusal>(&read)) {
    return *refusal;
  }
  // An unescaped "+" in an address is a blank.
  if (to.rfind(' ', 0) == 0) {
    to.front() = '+';
  }
  const auto& notice = std::get<AlertNotice>(read);
  // Ids change every 15 minutes: a retry finds its message under the present one or the one before.
  // 128 bits of the hash are enough; the caller is part of it, for ids are shared by all owners.
  const std::string name = "alert-" + sha256Of(jsonText({caller.owner, to, notice.identity})).substr(0, 32) + "-";
  const std::int64_t period = service.nowMs() / kRetryMs;
  for (const std::int64_t candidate : {period, period - 1}) {
    const auto found = service.show(caller, name + std::to_string(candidate));
    const auto* const message = std::get_if<Message>(&found);
    if (message != nullptr && service.nowMs() - message->acceptedMs < kRetryMs) {
      return Accepted{false, false, {*message}};
    }
  }
  Submission submission;
  submission.id = name + std::to_string(period);
  submission.to = {to};
  submission.text = notice.text;
  submission.priority = Priority::kAlarm;
  return submitAlarm(service, caller, submission);
}

}  // namespace orvix::gateway
