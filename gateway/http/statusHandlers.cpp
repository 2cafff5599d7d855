// The rows of the API about modems and the service itself.

#include "common/isoTime.h"
#include "gateway/http/handlers.h"
#include "gateway/http/metricsText.h"
#include "gateway/service/jsonValue.h"
#include "gateway/service/modemJson.h"

namespace orvix::gateway {
namespace {

using nlohmann::json;

// One for every 5 minutes of a day.
constexpr int kPoints = 288;

json modemsJson(const Service& service) {
  json list = json::array();
  for (const ModemView& modem : service.modems()) {
    list.push_back(modemJson(modem, service.offsetMs()));
  }
  return list;
}

json pointJson(const HistoryPoint& point, std::int64_t offsetMs) {
  return {{"time", rfc3339(point.timeMs + offsetMs)},
          {"dBm", {{"min", orNull(point.minDbm)}, {"mean", orNull(point.meanDbm)}, {"max", orNull(point.maxDbm)}}},
          {"registered", point.isRegistered}};
}

// Whether they are in order is the service's to say, which knows what is meant by one that is left out.
std::optional<Refusal> faultOfTimes(const Call& call) {
  for (const char* const key : {"from", "to"}) {
    if (const auto text = call.parameter(key); text && !msOfRfc3339(*text)) {
      return Refusal{422, "must be a time such as 2026-03-01T08:30:00.000Z", key, std::nullopt};
    }
  }
  return std::nullopt;
}

// As service time; none when it is not given.
std::optional<std::int64_t> timeParameter(const Call& call, const std::string& key) {
  const auto timeMs = msOfRfc3339(call.parameter(key).value_or(""));
  return timeMs ? std::optional(*timeMs - call.service().offsetMs()) : std::nullopt;
}

json queueJson(const Counts& counts, std::int64_t nowMs) {
  json queue = json::object();
  // What still moves or needs somebody; the ended ones are in the metrics.
  for (const MessageState state : {MessageState::kQueued, MessageState::kAttempting, MessageState::kUncertain}) {
    queue[wordOf(state)] = counts.of(state);
  }
  queue["oldestSeconds"] = counts.oldestQueuedMs ? json((nowMs - *counts.oldestQueuedMs) / 1000) : json(nullptr);
  return queue;
}

}  // namespace

Response listModems(const Call& call) {
  return jsonResponse(200, {{"modems", modemsJson(call.service())}});
}

Response showHistory(const Call& call) {
  if (const auto fault = faultOfTimes(call)) {
    return refusalResponse(*fault);
  }
  const auto points = numberIn(call.parameter("points").value_or(std::to_string(kPoints)), 1, kMaxHistoryPoints);
  if (!points) {
    return refusalResponse(422, "must be a whole number from 1 to 10000", "points");
  }
  const auto result = call.service().history(call.part(2), timeParameter(call, "from"), timeParameter(call, "to"),
                                             static_cast<int>(*points));
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    return refusalResponse(*refusal);
  }
  json list = json::array();
  for (const HistoryPoint& point : std::get<std::vector<HistoryPoint>>(result)) {
    list.push_back(pointJson(point, call.service().offsetMs()));
  }
  return jsonResponse(200, {{"points", list}});
}

Response showStatus(const Call& call) {
  Service& service = call.service();
  json doors = json::array();
  for (const DoorState& door : call.api.doors ? call.api.doors() : std::vector<DoorState>()) {
    doors.push_back({{"name", door.name}, {"address", door.address}, {"state", door.state}});
  }
  const Health health = service.health();
  return jsonResponse(200, {{"time", rfc3339(service.nowMs() + service.offsetMs())},
                            {"ok", health.isOk},
                            {"reasons", health.reasons},
                            {"modems", modemsJson(service)},
                            {"queue", queueJson(service.counts(), service.nowMs())},
                            {"doors", doors}});
}

Response showHealth(const Call& call) {
  const Health health = call.service().health();
  json body = {{"ok", health.isOk}};
  // Reasons name modems and files: without a token the answer is yes or no.
  if (call.request.caller) {
    body["reasons"] = health.reasons;
  }
  return jsonResponse(health.isOk ? 200 : 503, body);
}

Response showMetrics(const Call& call) {
  Service& service = call.service();
  Response response;
  // The version of the format, which scrapers look for.
  response.contentType = "text/plain; version=0.0.4; charset=utf-8";
  response.body = metricsText(service.metrics(), service.counts(), service.modems(), service.nowMs());
  return response;
}

}  // namespace orvix::gateway
