// The configuration as a whole, and the parts that are neither modems nor doors.

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "gateway/config/sections.h"
#include "gateway/message/name.h"

namespace orvix::gateway {
namespace {

constexpr int kMonthSeconds = 31 * kDaySeconds;
// A configuration of hundreds of tokens is smaller; /dev/zero is not.
constexpr std::size_t kMostBytes = 1 << 20;

StorageConfig readStorage(StrictObject object) {
  StorageConfig storage;
  storage.folder = object.text("folder", storage.folder);
  if (storage.folder.empty()) {
    object.complain("folder", "must not be empty");
  }
  storage.keepDays = object.whole("keepDays", storage.keepDays, 0, 3650);
  storage.queueLimit = object.whole("queueLimit", storage.queueLimit, 0, kMostOfAny);
  object.refuseOthers();
  return storage;
}

// What is counted must still be kept.
Budget readBudget(StrictObject object, int keepDays) {
  Budget budget;
  budget.count = object.whole("count", budget.count, 0, kMostOfAny);
  budget.seconds = object.whole("seconds", budget.seconds, 0, kMonthSeconds);
  if (keepDays != 0 && budget.seconds > std::int64_t{keepDays} * kDaySeconds) {
    object.complain("seconds", "must not be longer than storage.keepDays");
  }
  object.refuseOthers();
  return budget;
}

// Words of the file, none for any other.
std::optional<LongText> longTextOf(const std::string& word) {
  if (word == "refuse") {
    return LongText::kRefuse;
  }
  return word == "number" ? std::optional(LongText::kNumber) : std::nullopt;
}

std::optional<NonAscii> nonAsciiOf(const std::string& word) {
  if (word == "refuse") {
    return NonAscii::kRefuse;
  }
  return word == "transliterate" ? std::optional(NonAscii::kTransliterate) : std::nullopt;
}

SendingConfig readSending(StrictObject object, int keepDays) {
  SendingConfig sending;
  sending.maxAttempts = object.whole("maxAttempts", sending.maxAttempts, 0, kMostOfAny);
  sending.retrySeconds = object.whole("retrySeconds", sending.retrySeconds, 1, kDaySeconds);
  sending.retryLimitSeconds = object.whole("retryLimitSeconds", sending.retryLimitSeconds, 0, kMonthSeconds);
  sending.expireSeconds = object.whole("expireSeconds", sending.expireSeconds, 1, kMonthSeconds);
  sending.lateSeconds = object.whole("lateSeconds", sending.lateSeconds, 1, 3600);
  sending.longText = object.word("long", sending.longText, longTextOf, R"("refuse" or "number")");
  sending.nonAscii = object.word("nonAscii", sending.nonAscii, nonAsciiOf, R"("refuse" or "transliterate")");
  sending.perRecipient = readBudget(object.object("perRecipient"), keepDays);
  object.refuseOthers();
  return sending;
}

// "HH:MM"; -1 for anything else.
int minuteOf(const std::string& text) {
  if (text.size() != 5 || text[2] != ':' || !consistsOf(text.substr(0, 2) + text.substr(3), "0123456789")) {
    return -1;
  }
  const int hour = std::stoi(text.substr(0, 2));
  const int minute = std::stoi(text.substr(3));
  return hour < 24 && minute < 60 ? hour * 60 + minute : -1;
}

HeartbeatConfig readHeartbeat(StrictObject object) {
  HeartbeatConfig heartbeat;
  heartbeat.to = object.needed("to");
  if (const hostkit::Fit fit = hostkit::numberFit(heartbeat.to); !heartbeat.to.empty() && !fit.isFit()) {
    object.complain("to", fit.problem);
  }
  heartbeat.minuteOfDay = minuteOf(object.text("at", "07:00"));
  if (heartbeat.minuteOfDay == -1) {
    object.complain("at", "must be a time such as \"07:00\"");
  }
  object.refuseOthers();
  return heartbeat;
}

Config configOf(const nlohmann::json& document, Problems* problems) {
  Config config;
  StrictObject root(document, "", problems);
  // In the order of the documented file, so that problems come in that order.
  config.plugin = root.text("plugin", config.plugin);
  if (config.plugin.empty()) {
    root.complain("plugin", "must not be empty");
  }
  refuseUnreadable(&root, "plugin", config.plugin);
  config.modems = readModems(&root);
  // Before `sending`, whose budget must not look further back than messages are kept.
  config.storage = readStorage(root.object("storage"));
  config.sending = readSending(root.object("sending"), config.storage.keepDays);
  config.http = readHttp(root.object("http"));
  if (root.has("mqtt")) {
    config.mqtt = readMqtt(root.object("mqtt"));
  }
  if (root.has("heartbeat")) {
    config.heartbeat = readHeartbeat(root.object("heartbeat"));
  }
  root.refuseOthers();
  return config;
}

}  // namespace

bool consistsOf(const std::string& text, const std::string& characters) {
  return text.find_first_not_of(characters) == std::string::npos;
}

std::string readName(StrictObject* object, const std::string& key) {
  std::string name = object->needed(key);
  // An empty one was told already.
  if (!name.empty() && !isName(name)) {
    object->complain(key, kNameRule);
  }
  return name;
}

void refuseUnreadable(StrictObject* object, const std::string& key, const std::string& file) {
  if (!file.empty() && access(file.c_str(), R_OK) != 0) {
    object->complain(key, "cannot be read: " + file + ": " + std::strerror(errno));
  }
}

ConfigResult readConfig(const std::string& file) {
  ConfigResult result;
  std::ifstream stream(file, std::ios::binary);
  // One byte more than may be there shows that there is more.
  std::string text(kMostBytes + 1, '\0');
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  // The end of the file sets eof and fail, which are no trouble; bad is.
  if (!stream.is_open() || stream.bad()) {
    result.problems.push_back({"", "cannot be read: " + std::string(std::strerror(errno))});
    return result;
  }
  text.resize(static_cast<std::size_t>(stream.gcount()));
  if (text.size() > kMostBytes) {
    result.problems.push_back({"", "is larger than 1 MB"});
  } else if (const auto document = parseStrictly(text, &result.problems)) {
    result.config = configOf(*document, &result.problems);
  }
  return result;
}

}  // namespace orvix::gateway
