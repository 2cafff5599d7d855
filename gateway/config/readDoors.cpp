// The doors: who may come in, and where.

#include <unistd.h>

#include <algorithm>
#include <map>

#include "gateway/config/sections.h"
#include "gateway/message/name.h"

namespace orvix::gateway {
namespace {

constexpr std::size_t kLongestSocket = 107;  // of a Unix socket's address
constexpr char kPriorities[] = "\"alarm\", \"normal\" or \"bulk\"";

// "+49*", "0170123", "*".
// A "*" that stands alone lets everybody be sent to; one before the end would promise a search that nobody makes.
bool isPattern(const std::string& text) {
  const std::string number = text.substr(0, text.find('*'));
  const std::string digits = number.substr(number.compare(0, 1, "+") == 0 ? 1 : 0);
  return !text.empty() && text.size() - number.size() <= 1 && consistsOf(digits, "0123456789") &&
         (text.back() == '*' || !digits.empty());
}

Rights readRights(StrictObject* object) {
  Rights rights;
  rights.to = object->texts("to", {"*"});
  if (!std::all_of(rights.to.begin(), rights.to.end(), isPattern)) {
    object->complain("to", "must hold numbers, each with a * at its end for any further digits");
  }
  rights.perDay = object->whole("perDay", rights.perDay, 0, kMostOfAny);
  // The most urgent that may be asked for; who asks for none gets normal, or this one where it is less.
  rights.highest = object->word("priority", rights.highest, priorityOf, kPriorities);
  return rights;
}

TokenConfig readToken(StrictObject object) {
  TokenConfig token;
  token.name = readName(&object, "name");
  token.sha256 = object.needed("sha256");
  // Digits of either case are one hash; compared later, it must have one form.
  std::transform(token.sha256.begin(), token.sha256.end(), token.sha256.begin(), [](char digit) {
    return digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
  });
  if (!token.sha256.empty() && (token.sha256.size() != 64 || !consistsOf(token.sha256, "0123456789abcdef"))) {
    object.complain("sha256", "must be 64 hexadecimal digits");
  }
  token.rights = readRights(&object);
  token.rights.all = object.truth("all", token.rights.all);
  object.refuseOthers();
  return token;
}

std::vector<TokenConfig> readTokens(StrictObject* http) {
  std::vector<TokenConfig> tokens;
  std::map<std::string, std::string> seen;
  for (StrictObject& object : http->objects("tokens")) {
    const TokenConfig& token = tokens.emplace_back(readToken(object));
    for (const auto& [key, value] : {std::pair{"name", token.name}, std::pair{"sha256", token.sha256}}) {
      // Two tokens of one hash would be one word with two owners.
      const auto [first, isNew] = seen.emplace(key + (" " + value), object.pathTo(key));
      if (!isNew && !value.empty()) {
        object.complain(key, "is the same as " + first->second);
      }
    }
  }
  return tokens;
}

// "HOST:PORT", an address of IPv6 in brackets.
bool isHostAndPort(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == 0 || colon == std::string::npos) {
    return false;
  }
  const std::string host = text.substr(0, colon);
  const std::string port = text.substr(colon + 1);
  // What stands in brackets, and whether the host exists, shows when it is listened at or connected to.
  const bool isBracketed = host.front() == '[' && host.back() == ']';
  return (isBracketed || consistsOf(host, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.-")) &&
         !port.empty() && port.size() <= 5 && consistsOf(port, "0123456789") && std::stoi(port) <= 65535;
}

// A host with a port or without.
bool isBroker(const std::string& text) {
  for (const std::string scheme : {"mqtt://", "mqtts://"}) {
    if (text.compare(0, scheme.size(), scheme) == 0) {
      const std::string rest = text.substr(scheme.size());
      // A port may be left out.
      return isHostAndPort(rest) || isHostAndPort(rest + ":1");
    }
  }
  return false;
}

std::string hostName() {
  // POSIX allows 255 bytes; one is left for the zero that may be missing.
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  return name;
}

std::string readFile(StrictObject* object, const std::string& key) {
  std::string file = object->text(key, "");
  refuseUnreadable(object, key, file);
  return file;
}

}  // namespace

HttpConfig readHttp(StrictObject object) {
  HttpConfig http;
  http.socket = object.text("socket", http.socket);
  if (http.socket.empty() || http.socket.size() > kLongestSocket) {
    object.complain("socket", "must be a path of 1 to 107 bytes");
  }
  http.listen = object.text("listen", http.listen);
  if (!http.listen.empty() && !isHostAndPort(http.listen)) {
    object.complain("listen", "must be HOST:PORT or empty");
  }
  http.tokens = readTokens(&object);
  object.refuseOthers();
  return http;
}

MqttConfig readMqtt(StrictObject object) {
  MqttConfig mqtt;
  mqtt.broker = object.text("broker", "mqtts://127.0.0.1:8883");
  if (!isBroker(mqtt.broker)) {
    object.complain("broker", "must be mqtt://HOST[:PORT] or mqtts://HOST[:PORT]");
  }
  mqtt.id = object.text("id", hostName());
  if (!isName(mqtt.id)) {
    object.complain("id", kNameRule);
  }
  mqtt.user = object.text("user", "");
  mqtt.passwordFile = readFile(&object, "passwordFile");
  mqtt.caFile = readFile(&object, "caFile");
  mqtt.certFile = readFile(&object, "certFile");
  mqtt.keyFile = readFile(&object, "keyFile");
  // MQTT 3.1.1 has no password without a user.
  if (!mqtt.passwordFile.empty() && mqtt.user.empty()) {
    object.complain("user", "is missing, but there is a passwordFile");
  }
  if (mqtt.certFile.empty() != mqtt.keyFile.empty()) {
    object.complain(mqtt.certFile.empty() ? "certFile" : "keyFile", "is missing: certFile and keyFile go together");
  }
  mqtt.homeAssistant = object.text("homeAssistant", "");
  // Wildcards: a topic that holds one cannot be published to.
  if (mqtt.homeAssistant.find_first_of("+#") != std::string::npos) {
    object.complain("homeAssistant", "must be the beginning of a topic, without + and #");
  }
  mqtt.rights = readRights(&object);
  object.refuseOthers();
  return mqtt;
}

}  // namespace orvix::gateway
