// The service's configuration: one struct whose members hold the defaults, and its strict reader. Plain values; any
// thread.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "gateway/outbox/message.h"
#include "hostkit/errorClass.h"
#include "hostkit/messageFit.h"

namespace orvix::gateway {

struct ModemConfig {
  std::string name;
  std::string configFile;  // the device configuration that the plug-in reads
  std::string line;        // connection string in it, filled by readConfig
  int reportSeconds = 60;
  int perDay = 500;  // messages in 24 h; 0: no limit
  hostkit::Charset charset = hostkit::Charset::kIra;
  bool okIsSent = false;
  std::map<int, hostkit::ErrorClass> codes;  // CMS codes moved to another class
};

struct StorageConfig {
  std::string folder = "/var/lib/orvix";
  int keepDays = 30;
  int queueLimit = 100000;
};

// Both 0: no limit.
struct Budget {
  int count = 20;
  int seconds = 3600;
};

enum class LongText { kRefuse, kNumber };
enum class NonAscii { kRefuse, kTransliterate };

struct SendingConfig {
  int maxAttempts = 5;
  int retrySeconds = 5;
  int retryLimitSeconds = 300;
  int expireSeconds = 86400;
  int lateSeconds = 120;
  LongText longText = LongText::kRefuse;
  NonAscii nonAscii = NonAscii::kRefuse;
  Budget perRecipient;
};

// Who may send what: of a token, or of the MQTT door.
struct Rights {
  std::vector<std::string> to;  // numbers; a last '*' stands for any further digits
  int perDay = 200;             // 0: no limit
  Priority highest = Priority::kAlarm;
  bool all = false;  // sees and touches everybody's messages
};

struct TokenConfig {
  std::string name;
  std::string sha256;  // 64 lower-case hexadecimal digits
  Rights rights;
};

struct HttpConfig {
  std::string socket = "/run/orvix/gateway.sock";
  std::string listen = "127.0.0.1:8775";  // "": no TCP
  std::vector<TokenConfig> tokens;
};

struct MqttConfig {
  std::string broker;  // "mqtt://HOST[:PORT]" or "mqtts://..."
  std::string id;
  std::string user;
  std::string passwordFile;
  std::string caFile;
  std::string certFile;
  std::string keyFile;
  std::string homeAssistant;  // prefix of discovery; "": none
  Rights rights;
};

struct HeartbeatConfig {
  std::string to;
  int minuteOfDay = 0;  // local time
};

struct Config {
  std::string plugin = "/usr/lib/orvix/plugins/libgsmmodem.so";
  std::vector<ModemConfig> modems;
  StorageConfig storage;
  SendingConfig sending;
  HttpConfig http;
  std::optional<MqttConfig> mqtt;
  std::optional<HeartbeatConfig> heartbeat;
};

struct ConfigProblem {
  std::string key;  // its path, such as "modems[0].charset"; "" for the file as a whole
  std::string text;
};

struct ConfigResult {
  Config config;  // to be used only without problems
  std::vector<ConfigProblem> problems;
};

// Reads and checks everything and tells every problem: JSON, keys, types, ranges, the modems' own files.
ConfigResult readConfig(const std::string& file);

}  // namespace orvix::gateway
