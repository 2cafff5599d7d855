// The service's configuration: one struct whose members hold the defaults, and its strict reader. Plain values; any
// thread.
//
// A key of the JSON file has the name of its member unless a comment gives another one. Where 0 means "no limit" that
// is said; every other range is checked by readConfig, so that whoever gets a Config need not check again.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "gateway/message/message.h"
#include "hostkit/errorClass.h"
#include "hostkit/messageFit.h"

namespace orvix::gateway {

// "modems[]": one modem, its line, and what it may do.
struct ModemConfig {
  std::string name;  // 1 to 64 of A-Z a-z 0-9 . _ -; unique
  // "config": path of the device configuration that the plug-in reads.
  std::string configFile;
  // Connection string in that file, filled by readConfig. No two modems name the same device.
  std::string line;
  // Time between two reports of an idle modem; 1 to 86400.
  int reportSeconds = 60;
  // Messages of this modem within 24 h that were sent or may have been; 0: no limit.
  int perDay = 500;
  // "IRA" or "GSM" (3GPP TS 27.007, AT+CSCS): which characters arrive as they were written.
  hostkit::Charset charset = hostkit::Charset::kIra;
  // An OK without +CMGS: counts as sent. For modems that leave the reference out.
  bool okIsSent = false;
  // CMS error numbers (3GPP TS 27.005, 3.2.5) moved to another class than ours.
  std::map<int, hostkit::ErrorClass> codes;
};

// "storage": where the outbox lies and how much it keeps.
struct StorageConfig {
  std::string folder = "/var/lib/orvix";
  // Days from its end that a message and its id are kept, 0 to 3650; 0: for ever.
  int keepDays = 30;
  // Queued messages at most; the last tenth is kept for alarms. 0: no limit.
  int queueLimit = 100000;
};

// "perRecipient": so many messages to one number within so many seconds, the rest waits. No limit when either is 0.
// An attempt counts while it runs, and from its end on when it was sent or may have been. Alarms wait for alarms alone.
struct Budget {
  int count = 20;
  int seconds = 3600;
};

// Cut at words, into 9 messages at most; see textFit.h.
enum class LongText { kRefuse, kNumber };
enum class NonAscii { kRefuse, kTransliterate };

// "sending": how often, how long, and what is done with a text that is not fit as it stands.
struct SendingConfig {
  // Attempts that count before a message fails; 0: no limit.
  int maxAttempts = 5;
  // Wait after the first failed attempt. It doubles with each further one in a row, up to the limit; 0: no limit.
  int retrySeconds = 5;
  int retryLimitSeconds = 300;
  // Lifetime of a message that names none, 1 s to 31 days.
  int expireSeconds = 86400;
  // How long a modem is listened to for a result that comes after the plug-in's call returned, 1 to 3600.
  int lateSeconds = 120;
  // "long": more than a message carries is refused, or cut into numbered messages.
  LongText longText = LongText::kRefuse;
  // What the charset does not carry is refused, or replaced by the nearest ASCII.
  NonAscii nonAscii = NonAscii::kRefuse;
  Budget perRecipient;
};

// Who may send what: of a token, or of the MQTT door.
// Checked at the door, when a message is handed in: a change of the file does not touch what was accepted before.
struct Rights {
  std::vector<std::string> to;  // numbers; a last '*' stands for any further digits
  int perDay = 200;             // 0: no limit
  Priority highest = Priority::kAlarm;
  bool all = false;  // sees and touches everybody's messages
};

// "http.tokens[]": one word that opens the TCP door. The file holds its hash alone.
struct TokenConfig {
  std::string name;
  std::string sha256;  // 64 lower-case hexadecimal digits
  Rights rights;
};

// "http": the Unix socket, which is always there, and TCP.
struct HttpConfig {
  std::string socket = "/run/orvix/gateway.sock";  // 1 to 107 bytes, see unix(7)
  std::string listen = "127.0.0.1:8775";           // HOST:PORT, an IPv6 address in brackets; "": no TCP
  std::vector<TokenConfig> tokens;
};

// "mqtt": the broker and how we prove who we are. Files were readable when the configuration was read; "" is no file.
struct MqttConfig {
  std::string broker;  // "mqtt://HOST[:PORT]" (port 1883) or "mqtts://..." (TLS, 8883)
  std::string id;      // of gsm/ID/... and of the client id; the host's name unless it is given
  std::string user;
  std::string passwordFile;  // its first line is the password
  std::string caFile;        // "": the system's own authorities
  // A certificate of our own, for brokers that ask for one: both or neither.
  std::string certFile;
  std::string keyFile;
  // Prefix of Home Assistant's discovery topics, "homeassistant" in most houses; "": nothing is announced.
  std::string homeAssistant;
  Rights rights;
};

// "heartbeat": one message a day that says the gateway lives.
struct HeartbeatConfig {
  std::string to;
  int minuteOfDay = 0;  // "at": minutes since midnight, local time
};

// The file as a whole. "plugin" is the path that dlopen gets.
struct Config {
  // Readable when the configuration was read; whether it is a plug-in shows only in a worker.
  std::string plugin = "/usr/lib/orvix/plugins/libgsmmodem.so";
  std::vector<ModemConfig> modems;
  StorageConfig storage;
  SendingConfig sending;
  HttpConfig http;
  std::optional<MqttConfig> mqtt;
  std::optional<HeartbeatConfig> heartbeat;  // missing: switched off, as mqtt is
};

// What is wrong, for the person who wrote the file.
struct ConfigProblem {
  std::string key;  // its path, such as "modems[0].charset"; "" for the file as a whole
  // A sentence without the key, such as "must be a whole number from 1 to 86400"; may quote bytes of the file.
  std::string text;
};

// A configuration without problems has been checked whole; with some its values are of no use.
struct ConfigResult {
  Config config;  // to be used only without problems
  std::vector<ConfigProblem> problems;
};

// Reads and checks everything and tells every problem, not the first alone: JSON, keys, types, ranges, the modems' own
// files. A file of more than 1 MB is refused unread.
// Throws nothing but std::bad_alloc: a file that is not there is a problem as well. Opens no device; asks no name
// server.
ConfigResult readConfig(const std::string& file);

}  // namespace orvix::gateway
