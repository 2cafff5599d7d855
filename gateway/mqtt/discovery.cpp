#include "gateway/mqtt/discovery.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>

#include "common/printable.h"

namespace orvix::gateway {
namespace {

using nlohmann::json;

// Identifiers may hold letters, digits, '_' and '-' alone; what else a name holds is written as its code, so that two
// names never share one.
std::string identifierOf(const std::string& name) {
  std::string identifier;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isPlain = byte < 0x80 && (std::isalnum(byte) != 0 || c == '-');
    identifier += isPlain ? std::string(1, c) : "_" + hexText({&c, 1});
  }
  return identifier;
}

// All entities name the same device, so that Home Assistant shows them on one card.
class Device {
 public:
  explicit Device(const MqttConfig& config)
      : mqtt(config), base("gsm/" + config.id), node("gsm_" + identifierOf(config.id)) {}

  void add(const std::string& component, const std::string& object, json document) {
    const std::string unique = node + "_" + object;
    // Every entity has its own for ever, so that a renamed one keeps its history.
    document["unique_id"] = unique;
    if (!document.contains("availability")) {
      document["availability"] = json::array({gatewayOnline()});
    }
    document["qos"] = 1;
    document["device"] = {{"identifiers", {node}}, {"name", "GSM gateway " + mqtt.id}, {"model", "gsm-gateway"}};
    document["origin"] = {{"name", "gsm-gateway"}};
    publications.push_back(
        {mqtt.homeAssistant + "/" + component + "/" + node + "/" + object + "/config", document.dump()});
  }

  void addModem(const std::string& name) {
    const std::string object = "modem_" + identifierOf(name);
    const std::string topic = base + "/modem/" + name;
    // What a modem reported before it went away is not known of now.
    const json both = {
        gatewayOnline(),
        {{"topic", topic + "/state"}, {"value_template", "{{ 'online' if value == 'ready' else 'offline' }}"}}};
    add("sensor", object + "_signal",
        {{"name", "Modem " + name + " signal"},
         {"state_topic", topic + "/report"},
         {"availability", both},
         {"availability_mode", "all"},
         {"entity_category", "diagnostic"},
         {"value_template", "{{ value_json.dBm }}"},
         {"device_class", "signal_strength"},
         {"state_class", "measurement"},
         {"unit_of_measurement", "dBm"}});
    add("sensor", object + "_registration",
        {{"name", "Modem " + name + " registration"},
         {"state_topic", topic + "/report"},
         {"availability", both},
         {"availability_mode", "all"},
         {"entity_category", "diagnostic"},
         {"value_template", "{{ value_json.registration }}"}});
    add("binary_sensor", object + "_ready",
        {{"name", "Modem " + name + " ready"},
         {"state_topic", topic + "/state"},
         {"payload_on", "ready"},
         // "noData" is off as well: the template makes two of three states.
         {"payload_off", "notAvailable"},
         {"value_template", "{{ 'ready' if value == 'ready' else 'notAvailable' }}"},
         {"device_class", "connectivity"}});
  }

  void addQueue() {
    const std::string topic = base + "/queue";
    add("sensor", "queue",
        {{"name", "Queued messages"},
         {"state_topic", topic},
         {"value_template", "{{ value_json.queued }}"},
         {"state_class", "measurement"}});
    add("sensor", "uncertain",
        {{"name", "Uncertain messages"},
         {"state_topic", topic},
         {"value_template", "{{ value_json.uncertain }}"},
         {"state_class", "measurement"}});
    add("sensor", "oldest",
        {{"name", "Oldest queued message"},
         {"state_topic", topic},
         {"value_template", "{{ value_json.oldestSeconds }}"},
         {"state_class", "measurement"},
         {"device_class", "duration"},
         {"unit_of_measurement", "s"}});
    add("sensor", "last_result",
        {{"name", "Last result"},
         {"state_topic", topic},
         // A last result that is not there yet would make the template fail.
         {"value_template", "{{ value_json.lastResult.state if value_json.lastResult else 'none' }}"}});
  }

  // The id is new at each use, since the same text may be meant twice.
  void addRecipient(const std::string& number) {
    const std::string form = R"({"id": "ha-{{ now().strftime('%Y%m%d%H%M%S%f') }}", "to": ")" + number +
                             R"(", "text": {{ value | tojson }}})";
    add("notify", "send_" + identifierOf(number),
        {{"name", "Text message to " + number}, {"command_topic", base + "/send"}, {"command_template", form}});
  }

  std::vector<Publication> publications;

 private:
  json gatewayOnline() const { return {{"topic", base + "/availability"}}; }

  const MqttConfig& mqtt;
  const std::string base;
  const std::string node;
};

}  // namespace

std::vector<Publication> discoveryOf(const MqttConfig& mqtt, const std::vector<ModemConfig>& modems) {
  Device device(mqtt);
  for (const ModemConfig& modem : modems) {
    device.addModem(modem.name);
  }
  device.addQueue();
  for (const std::string& number : mqtt.rights.to) {
    // A pattern is no number that one could send to.
    if (number.find('*') == std::string::npos) {
      device.addRecipient(number);
    }
  }
  return device.publications;
}

}  // namespace orvix::gateway
