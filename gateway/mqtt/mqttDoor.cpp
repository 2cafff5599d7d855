#include "gateway/mqtt/mqttDoor.h"

#include <glog/logging.h>

#include <algorithm>
#include <utility>

#include "common/duration.h"
#include "common/isoTime.h"
#include "common/printable.h"
#include "gateway/mqtt/command.h"
#include "gateway/mqtt/discovery.h"
#include "gateway/service/modemJson.h"

namespace orvix::gateway {
namespace {

using nlohmann::json;

// As many as the library has under way; the others stay in the outbox, which is durable.
constexpr std::size_t kMostUnacknowledged = 20;
// On their way at a time; a sender whose refusal is left out sees no acceptance either.
constexpr std::size_t kMostRefusals = 1000;
constexpr std::int64_t kQueueMs = kMinuteMs;
// Dropping a note costs a write of its own, so several go together; a crash before merely tells them once more.
constexpr std::int64_t kDropMs = 30000;
constexpr std::int64_t kGoodbyeMs = 3000;  // for a broker to take it

// For the last result: what an uncertain one became is news, though it has not ended.
bool isEnd(MessageState state) {
  return state != MessageState::kQueued && state != MessageState::kAttempting;
}

}  // namespace

MqttDoor::MqttDoor(Service* served, const MqttConfig& configuration)
    : service(served),
      config(configuration),
      base("gsm/" + config.id),
      // The owner's name stands in the database, and the outbox keeps notes for this one alone.
      caller{"mqtt", config.rights},
      broker(config, {base + "/availability", "offline"}, base + "/send") {
  // From the outbox, so that a restart shows what the run before showed.
  if (const std::optional<Message> message = service->lastResult()) {
    remember(*message);
  }
  service->addListener(this);
  broker.start();
}

std::optional<std::int64_t> MqttDoor::nextTimeMs() const {
  std::optional<std::int64_t> next;
  if (connected) {
    next = nextQueueMs;
  }
  if (!acknowledged.empty()) {
    next = std::min(next.value_or(dropMs), dropMs);
  }
  if (goodbye) {
    next = std::min(next.value_or(goodbyeEndMs), goodbyeEndMs);
  }
  return next;
}

void MqttDoor::onReady() {
  for (const BrokerEvent& event : broker.take()) {
    onEvent(event);
  }
  if (!acknowledged.empty() && service->nowMs() >= dropMs) {
    dropAcknowledged();
  }
}

void MqttDoor::tell() {
  if (connected && (isQueueChanged || service->nowMs() >= nextQueueMs)) {
    showQueue();
  }
  if (connected && isMoreToTell) {
    tellMessages();
  }
}

void MqttDoor::onEvent(const BrokerEvent& event) {
  switch (event.kind) {
    case BrokerEvent::Kind::kConnected:
      onConnected();
      break;
    case BrokerEvent::Kind::kDisconnected:
      connected = false;
      // Once a reason: a broker that is away is tried again for hours.
      if (trouble != event.text && !goodbye) {
        LOG(WARNING) << "mqtt: no broker: " << escaped(event.text);
        trouble = event.text;
      }
      break;
    case BrokerEvent::Kind::kSubscriptionRefused:
      LOG(WARNING) << "mqtt: the broker lets nobody read " << base << "/send here: no messages come that way";
      break;
    case BrokerEvent::Kind::kMessage:
      // A session may hold what somebody else has subscribed under our client id: our own words would come back.
      if (!goodbye && event.topic == base + "/send") {
        onCommand(event.payload);
      }
      break;
    case BrokerEvent::Kind::kAcknowledged:
      onAcknowledged(event.publication);
      break;
  }
}

void MqttDoor::onConnected() {
  LOG(INFO) << "mqtt: connected";
  connected = true;
  trouble.clear();
  if (goodbye) {
    return;
  }
  // Everything that is retained is told anew: the broker may have lost it, or be another one.
  show(base + "/availability", "online");
  if (!config.homeAssistant.empty()) {
    for (const Publication& publication : discoveryOf(config, service->config().modems)) {
      show(publication.topic, publication.payload);
    }
  }
  for (const ModemView& modem : service->modems()) {
    showModem(modem);
    if (modem.report) {
      onReport(modem);
    }
  }
  isQueueChanged = true;
}

void MqttDoor::onAcknowledged(int publication) {
  if (goodbye == publication) {
    hasSaidGoodbye = true;
    broker.disconnect();
    return;
  }
  refusals.erase(publication);
  if (const auto shown = showing.find(publication); shown != showing.end()) {
    const std::string topic = shown->second;
    showing.erase(shown);
    if (const auto next = toShow.find(topic); next != toShow.end()) {
      const std::string payload = next->second;
      toShow.erase(next);
      show(topic, payload);
    }
    return;
  }
  const auto found = told.find(publication);
  if (found == told.end()) {
    return;
  }
  if (acknowledged.empty()) {
    dropMs = service->nowMs() + kDropMs;
  }
  acknowledged.push_back(found->second);
  told.erase(found);
  isMoreToTell = true;
}

void MqttDoor::onCommand(const std::string& payload) {
  const auto [id, submission] = readCommand(payload);
  if (const auto* const refusal = std::get_if<Refusal>(&submission)) {
    refuse(id, *refusal);
    return;
  }
  const auto result = service->submit(caller, std::get<Submission>(submission));
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    refuse(id, *refusal);
    return;
  }
  const auto& accepted = std::get<Accepted>(result);
  // A repeat hears of the message as it is, for its sender missed what was told before.
  if (!accepted.isNew) {
    service->announce(accepted.messages);
  }
  // The acceptance itself is told by the note that was written with it.
  service->onCommitted([this, id = id](bool isCommitted) {
    if (!isCommitted) {
      refuse(id, {503, "the outbox takes nothing at the moment", std::nullopt, std::nullopt});
    }
    isMoreToTell = true;
  });
}

// A sender that misses this sees no acceptance and sends again.
void MqttDoor::refuse(const std::string& id, const Refusal& refusal) {
  if (!connected || refusals.size() >= kMostRefusals) {
    return;
  }
  json document = refusalJson(refusal);
  document["status"] = refusal.status;
  document["id"] = id.empty() ? json(nullptr) : json(id);
  const std::string topic = id.empty() ? base + "/refused" : base + "/message/" + id;
  if (const auto publication = broker.publish(topic, document.dump(), false)) {
    refusals.insert(*publication);
  }
}

// One of each topic is on its way at most, so that a broker that takes nothing fills no memory; the latest is next.
void MqttDoor::show(const std::string& topic, const std::string& payload) {
  if (goodbye) {
    return;  // the last word: an "online" that waited for its turn must not follow it
  }
  const auto isSame = [&](const auto& shown) { return shown.second == topic; };
  if (std::any_of(showing.begin(), showing.end(), isSame)) {
    toShow[topic] = payload;
  } else if (const auto publication = broker.publish(topic, payload, true)) {
    showing[*publication] = topic;
  }
}

void MqttDoor::showModem(const ModemView& modem) {
  show(base + "/modem/" + modem.name + "/state", wordOf(modem.state));
  shownStates[modem.name] = modem.state;
}

void MqttDoor::showQueue() {
  const Counts counts = service->counts();
  json document = {{"queued", counts.of(MessageState::kQueued)},
                   {"uncertain", counts.of(MessageState::kUncertain)},
                   {"oldestSeconds", nullptr},
                   {"lastResult", lastResult}};
  if (counts.oldestQueuedMs) {
    document["oldestSeconds"] = (service->nowMs() - *counts.oldestQueuedMs) / kSecondMs;
  }
  show(base + "/queue", document.dump());
  isQueueChanged = false;
  nextQueueMs = service->nowMs() + kQueueMs;
}

void MqttDoor::tellMessages() {
  while (told.size() < kMostUnacknowledged) {
    const auto notes = service->announcements(lastTold, static_cast<int>(kMostUnacknowledged - told.size()));
    for (const Outbox::Announcement& note : notes) {
      json document = messageJson(note.message, service->offsetMs());
      document.erase("text");
      const auto publication = broker.publish(base + "/message/" + note.message.id, document.dump(), false);
      if (!publication) {
        return;
      }
      told[*publication] = note.number;
      // Only when it is under way: after a failure the next call begins here again.
      lastTold = note.number;
    }
    if (notes.empty()) {
      isMoreToTell = false;
      return;
    }
  }
  isMoreToTell = false;  // until the broker takes some
}

void MqttDoor::dropAcknowledged() {
  service->dropAnnouncements(std::exchange(acknowledged, {}));
}

void MqttDoor::onMessage(const Message& message) {
  isQueueChanged = true;
  isMoreToTell = true;
  if (isEnd(message.state)) {
    remember(message);
  }
}

void MqttDoor::remember(const Message& message) {
  lastResult = {{"id", message.id}, {"state", wordOf(message.state)}, {"ended", nullptr}};
  if (message.endedMs) {
    lastResult["ended"] = rfc3339(*message.endedMs + service->offsetMs());
  }
}

void MqttDoor::onModem(const ModemView& modem) {
  // onModem also tells of what the modem is doing, which no topic shows.
  if (connected && shownStates[modem.name] != modem.state) {
    showModem(modem);
  }
}

void MqttDoor::onReport(const ModemView& modem) {
  if (connected) {
    show(base + "/modem/" + modem.name + "/report", reportJson(modem, service->offsetMs()).dump());
  }
}

void MqttDoor::stop() {
  if (!acknowledged.empty()) {
    dropAcknowledged();
  }
  if (connected) {
    // Published by ourselves, since the will is not sent after a disconnect.
    goodbye = broker.publish(base + "/availability", "offline", true);
    goodbyeEndMs = service->nowMs() + kGoodbyeMs;
  }
  hasSaidGoodbye = !goodbye;
}

bool MqttDoor::isStopped() const {
  return !connected || hasSaidGoodbye || service->nowMs() >= goodbyeEndMs;
}

}  // namespace orvix::gateway
