// The strict reader of the service's configuration: the example that is shipped passes, and every mistake is told with
// the path of its key.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "gateway/config/config.h"
#include "tests/world/host.h"

namespace orvix::gateway {
namespace {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t i = 0; (i = text.find(from, i)) != std::string::npos; i += to.size()) {
    text.replace(i, from.size(), to);
  }
  return text;
}

// A folder that stands in for /etc/orvix, with the files that a configuration names.
class GatewayConfigTest : public testing::Test, protected world::TemporaryFolder {
 protected:
  GatewayConfigTest() {
    write("plugin.so", "");
    write("secret", "");
    write("main.json", R"({"config": {"mode": "com", "comstr": "/dev/ttyUSB0:115200,n,8,1"}})");
    write("spare.json", R"({"config": {"mode": "com", "comstr": "/dev/ttyUSB1:115200,n,8,1"}})");
    std::filesystem::create_symlink("/dev/../dev/ttyUSB0", file("link"));
    write("same.json", R"({"config": {"mode": "com", "comstr": ")" + file("link") + R"(:9600,n,8,1"}})");
    write("colon.json", R"({"config": {"mode": "com", "comstr": "/dev/serial/usb-1.0:1.0-port0:115200,n,8,1"}})");
    write("noLine.json", R"({"config": {"mode": "com", "comstr": "/dev/ttyUSB0"}})");
    write("tcp.json", R"({"config": {"mode": "ip", "comstr": ":115200,n,8,1", "ip": {"address": "a", "port": 1}}})");
    write("broken.json", "{");
  }

  // With "@" for the folder and quotes for apostrophes.
  ConfigResult read(const std::string& text) {
    return readConfig(write("gateway.json", replaced(replaced(text, "'", "\""), "@", file(""))));
  }

  // One line a problem, with the folder as "@" again.
  std::string problemsOf(const ConfigResult& result) const {
    std::string text;
    for (const ConfigProblem& problem : result.problems) {
      text += (text.empty() ? "" : "; ") + problem.key + ": " + problem.text;
    }
    return replaced(text, file(""), "@");
  }
};

constexpr char kModem[] = "'plugin': '@plugin.so', 'modems': [{'name': 'main', 'config': '@main.json'}]";

TEST_F(GatewayConfigTest, TheExamplePasses) {
  std::string text = world::readText(ORVIX_SOURCE_DIR "/packaging/gateway-example.json");
  ASSERT_FALSE(text.empty());
  for (const auto& [named, stand] :
       std::vector<std::pair<std::string, std::string>>{{"/usr/lib/orvix/plugins/libgsmmodem.so", "@plugin.so"},
                                                        {"/etc/orvix/mqtt-password", "@secret"},
                                                        {"/etc/ssl/certs/ca-certificates.crt", "@secret"},
                                                        {"/etc/orvix/", "@"}}) {
    text = replaced(text, named, stand);
  }
  const ConfigResult result = read(text);
  EXPECT_EQ(problemsOf(result), "");
  const Config& config = result.config;
  ASSERT_EQ(config.modems.size(), 2U);
  EXPECT_EQ(config.modems[0].line, "/dev/ttyUSB0:115200,n,8,1");
  EXPECT_EQ(config.modems[0].codes.at(500), hostkit::ErrorClass::kChance);
  EXPECT_EQ(config.modems[1].charset, hostkit::Charset::kGsm);
  EXPECT_EQ(config.sending.longText, LongText::kNumber);
  EXPECT_EQ(config.sending.perRecipient.count, 20);
  EXPECT_EQ(config.http.tokens.at(0).rights.to, std::vector<std::string>{"+49*"});
  EXPECT_EQ(config.mqtt->homeAssistant, "homeassistant");
  EXPECT_EQ(config.heartbeat->minuteOfDay, 7 * 60);
}

TEST_F(GatewayConfigTest, EverythingHasADefaultButModems) {
  const ConfigResult result = read(std::string("{") + kModem + ", 'mqtt': {}, 'http': {'tokens': []}}");
  EXPECT_EQ(problemsOf(result), "");
  EXPECT_EQ(result.config.storage.folder, "/var/lib/orvix");
  EXPECT_EQ(result.config.sending.perRecipient.seconds, 3600);
  EXPECT_EQ(result.config.mqtt->rights.to, std::vector<std::string>{"*"});
  EXPECT_FALSE(result.config.heartbeat);
}

TEST_F(GatewayConfigTest, ModemsAreHeldAgainstEachOther) {
  const std::pair<const char*, const char*> rows[] = {
      {"[{'name': 'a', 'config': '@main.json'}, {'name': 'b', 'config': '@tcp.json', 'perDay': 0}]", ""},
      {"[]", "modems: must name one modem at least"},
      {"{}", "modems: must be a list; modems: must name one modem at least"},
      {"[7]", "modems[0]: must be an object; modems[0].name: is missing; modems[0].config: is missing"},
      {"[{'name': 'a', 'config': '@main.json'}, {'name': 'a', 'config': '@spare.json'}]",
       "modems[1].name: is the same as modems[0].name"},
      {"[{'name': 'a', 'config': '@main.json'}, {'name': 'b', 'config': '@same.json'}]",
       "modems[1].config: names the same line as modems[0].config: @link"},
      {"[{'name': 'a/b', 'config': '@colon.json'}]",
       "modems[0].name: must be 1 to 64 of A-Z a-z 0-9 . _ -; "
       "modems[0].config: @colon.json: a line must have no colon in its path"},
      {"[{'name': 'a', 'config': '@noLine.json'}]",
       "modems[0].config: @noLine.json names no line: config.comstr has no \":\" with line settings behind it"},
      {"[{'name': 'a', 'config': '@none.json'}]",
       "modems[0].config: Failed: Failed to open @none.json: No such file or directory"},
      {"[{'name': 'a', 'config': '@main.json', 'codes': {'500': 'luck', 'x': 'chance'}, 'charset': 'UCS2',"
       " 'okIsSent': 1, 'reportSeconds': 0, 'perDay': 1.5, 'colour': 1}]",
       "modems[0].reportSeconds: must be a whole number from 1 to 86400; "
       "modems[0].perDay: must be a whole number from 0 to 10000000; "
       "modems[0].charset: must be \"IRA\" or \"GSM\"; modems[0].okIsSent: must be true or false; "
       "modems[0].codes.500: must be \"message\", \"network\", \"modem\", \"chance\" or \"doubt\"; "
       "modems[0].codes.x: must be the number of a CMS error; modems[0].colour: is no known key"},
  };
  for (const auto& [modems, problems] : rows) {
    EXPECT_EQ(problemsOf(read(std::string("{'plugin': '@plugin.so', 'modems': ") + modems + "}")), problems) << modems;
  }
}

TEST_F(GatewayConfigTest, EveryMistakeIsToldWithItsKey) {
  const std::string hash(64, 'a');
  // What stands behind a good modem, and what is told of it.
  const std::pair<std::string, std::string> rows[] = {
      {"'moden': 1", "moden: is no known key"},
      {"'storage': {'keepDays': 1, 'keepDays': 2}", "storage.keepDays: stands here twice"},
      {"'http': {'tokens': [{}, {'a': [1], 'a': 1}]}", "http.tokens[1].a: stands here twice"},
      {"'storage': {'folder': '', 'keepDays': -1, 'queueLimit': '5'}",
       "storage.folder: must not be empty; storage.keepDays: must be a whole number from 0 to 3650; "
       "storage.queueLimit: must be a whole number from 0 to 10000000"},
      {"'storage': {'folder': 7, 'keepDays': 99999999999999999999, 'queueLimit': 18446744073709551615}",
       "storage.folder: must be a text; storage.keepDays: must be a whole number from 0 to 3650; "
       "storage.queueLimit: must be a whole number from 0 to 10000000"},
      {"'sending': {'long': 'cut', 'nonAscii': true, 'perRecipient': 20, 'retrySeconds': 0}",
       "sending.retrySeconds: must be a whole number from 1 to 86400; sending.long: must be \"refuse\" or \"number\"; "
       "sending.nonAscii: must be \"refuse\" or \"transliterate\"; sending.perRecipient: must be an object"},
      {"'storage': {'keepDays': 1}, 'sending': {'perRecipient': {'seconds': 86401}}",
       "sending.perRecipient.seconds: must not be longer than storage.keepDays"},
      {"'http': {'socket': '', 'listen': '8775'}",
       "http.socket: must be a path of 1 to 107 bytes; http.listen: must be HOST:PORT or empty"},
      {"'http': {'listen': '127.0.0.1:70000'}", "http.listen: must be HOST:PORT or empty"},
      {"'http': {'listen': '[::1]:0'}", ""},
      {"'http': {'tokens': [{'name': 'a', 'sha256': 'abc', 'to': ['+4*9'], 'priority': 'urgent', 'all': 0}, {}]}",
       "http.tokens[0].sha256: must be 64 hexadecimal digits; "
       "http.tokens[0].to: must hold numbers, each with a * at its end for any further digits; "
       "http.tokens[0].priority: must be \"alarm\", \"normal\" or \"bulk\"; http.tokens[0].all: must be true or false; "
       "http.tokens[1].name: is missing; http.tokens[1].sha256: is missing"},
      {"'http': {'tokens': [{'name': 'a', 'sha256': '" + hash + "', 'to': '*'}, {'name': 'a', 'sha256': '" + hash +
           "'}]}",
       "http.tokens[0].to: must be a list of texts; http.tokens[1].name: is the same as http.tokens[0].name; "
       "http.tokens[1].sha256: is the same as http.tokens[0].sha256"},
      {"'mqtt': {'broker': 'tcp://x', 'id': 'a/b', 'passwordFile': '@none', 'certFile': '@secret',"
       " 'homeAssistant': 'a/#', 'all': true}",
       "mqtt.broker: must be mqtt://HOST[:PORT] or mqtts://HOST[:PORT]; "
       "mqtt.id: must be 1 to 64 of A-Z a-z 0-9 . _ -; "
       "mqtt.passwordFile: cannot be read: @none: No such file or directory; "
       "mqtt.user: is missing, but there is a passwordFile; "
       "mqtt.keyFile: is missing: certFile and keyFile go together; "
       "mqtt.homeAssistant: must be the beginning of a topic, without + and #; mqtt.all: is no known key"},
      {"'mqtt': null", "mqtt: must be an object"},
      {"'heartbeat': {'at': '24:00'}", "heartbeat.to: is missing; heartbeat.at: must be a time such as \"07:00\""},
      {"'heartbeat': {'to': '+49'}", "heartbeat.to: " + hostkit::numberFit("+49").problem},
      {"'plugin2': 1, ", ": is no JSON: at line 1, column"},
  };
  for (const auto& [more, expected] : rows) {
    const std::string problems = problemsOf(read(std::string("{") + kModem + ", " + more + "}"));
    // A parser's own words are told as far as they are ours.
    EXPECT_EQ(more.back() == ' ' ? problems.substr(0, expected.size()) : problems, expected) << more;
  }
}

TEST_F(GatewayConfigTest, FilesThatAreNoConfiguration) {
  EXPECT_EQ(problemsOf(readConfig(file("none"))), ": cannot be read: No such file or directory");
  EXPECT_EQ(problemsOf(readConfig(path())).substr(0, 16), ": cannot be read");
  EXPECT_EQ(problemsOf(readConfig("/dev/zero")), ": is larger than 1 MB");
  EXPECT_EQ(problemsOf(read("[]")), ": must be a JSON object");
  EXPECT_EQ(problemsOf(read("")).substr(0, 12), ": is no JSON");
  EXPECT_EQ(problemsOf(read(std::string(1 << 20, '['))).substr(0, 12), ": is no JSON");
  EXPECT_EQ(problemsOf(read("{'plugin': '', 'modems': [{'name': 'a', 'config': '@main.json'}]}")),
            "plugin: must not be empty");
  EXPECT_EQ(
      problemsOf(read("{'plugin': '@plugin.so', 'modems': [{'name': 'a', 'config': '@broken.json'}]}")).substr(0, 24),
      "modems[0].config: Failed");
}

}  // namespace
}  // namespace orvix::gateway
