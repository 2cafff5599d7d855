// What Home Assistant is told about the gateway, by its MQTT discovery. Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "gateway/config/config.h"

namespace orvix::gateway {

// To be published retained, in any order; the payload is JSON as Home Assistant's MQTT discovery describes it.
// Topics are PREFIX/COMPONENT/gsm_ID/OBJECT/config. Nothing is ever taken back: what an earlier configuration announced
// stays with the broker until somebody clears that topic.
struct Publication {
  std::string topic;
  std::string payload;
};

// Retained documents, all of one device: signal, registration and readiness of each modem, queue, oldest message, last
// result, and for each whole number that MQTT may send to an entity that sends.
std::vector<Publication> discoveryOf(const MqttConfig& mqtt, const std::vector<ModemConfig>& modems);

}  // namespace orvix::gateway
