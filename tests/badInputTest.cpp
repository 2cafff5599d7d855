// What hosts and files bring in by mistake: every door answers with a status, and the device works on.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>

#include "document/document.h"
#include "serial/xpl.h"
#include "tests/world/modemDevice.h"

using orvix::BSONObject;
using world::fromJson;

namespace {

constexpr char kDefaultComstr[] = "/dev/ttyO2:9600,n,8,1";

// Hands out the document with each byte set to each value, in a block of its size, unless that broke its frame.
void forEachChange(const BSONObject& document, const std::function<void(const BSONObject&)>& receive) {
  for (std::size_t i = 0; i < std::size_t{document.dataSize()} * 256; ++i) {
    std::vector<std::uint8_t> bytes(document.data(), document.data() + document.dataSize());
    bytes[i / 256] = static_cast<std::uint8_t>(i % 256);
    bson_t view;
    if (bson_init_static(&view, bytes.data(), bytes.size())) {
      receive(BSONObject(orvix::DocumentHandle(&view, [](bson_t*) {}), true));
    }
  }
}

class BadInput : public world::ModemDevice {
 protected:
  std::string loadFrom(const std::string& path) {
    return device.LoadConfig(fromJson(R"({"cfgfile":")" + path + R"("})")).toString();
  }
  std::string load(const std::string& content) { return loadFrom(folder.write("input", content)); }
  std::string goodBut(const std::string& part, const std::string& other) const {
    return std::string(good).replace(good.find(part), part.size(), other);
  }
  BSONObject current() {
    BSONObject document;
    EXPECT_EQ(device.GetProperty("config.current", &document).toString(), "OK");
    return document;
  }
  void TearDown() override {
    start();
    EXPECT_EQ(device.IoControl("sendSMS", &message, nullptr).toString(), "OK");
  }
  const std::string comstr = link + ":9600,n,8,1";
  const std::string good = world::configurationText(comstr);
  const std::string unreadable = "Failed: Failed to open " + folder.file("input") + ": ";
  const BSONObject message = fromJson(R"({"phone":"0123456789","text":"hi"})");
};

TEST_F(BadInput, FilesGiveAConfigurationOrAStatus) {
  const std::string huge(10 << 20, 'x');
  std::string deep = "1";
  for (int levels = 0; levels < 10000; levels += 2) {
    deep.insert(0, "[{\"a\":").append("}]");
  }
  // Content, beginning of the status; after "OK" the connection string in memory.
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {std::string(10 << 20, ' '), "Failed: " + folder.file("input") + "is empty", ""},
      {"{\"a\":\"" + huge, unreadable + "Incomplete JSON", ""},
      {deep, unreadable + "Got parse error at \"{\", position 295: \"LEVELS_EXCEEDED\"", ""},
      {"\xef\xbb\xbf" + good, unreadable + "Got parse error at \"\xef", ""},
      {goodBut(":9600", std::string(1, '\0')), unreadable + "Got parse error at \"", ""},
      {goodBut("\"id", "\"i\\u0000d"), unreadable + "invalid bytes in UTF8 string", ""},
      {goodBut(":9600", huge), "OK", link + huge + ",n,8,1"},
      {goodBut(":9600", "\\u0000:9600"), "OK", link},
      {goodBut(link, "\\u0000"), "OK", kDefaultComstr},
      {goodBut("\"ip\"", "\"comstr\":\"x\",\"ip\""), "OK", comstr}};
  for (const auto& [content, status, expected] : rows) {
    configure();
    EXPECT_EQ(load(content).find(status), 0U) << content.substr(0, 200);
    EXPECT_TRUE(device.getComstr() == (status == "OK" ? expected : comstr)) << content.substr(0, 200);
  }
}

TEST_F(BadInput, CutAndNoisyFilesChangeNothing) {
  configure();
  std::mt19937 noise(7);
  for (std::size_t length = 1; length < 1000; ++length) {
    const BSONObject before = current();
    std::string content = good.substr(0, length);
    for (std::size_t damage = good.size(); damage < length; damage += 10) {
      content[noise() % content.size()] = static_cast<char>(noise());
    }
    const std::string status = load(content);
    EXPECT_TRUE(status == "OK" || (status.find(unreadable) == 0 && current() == before)) << content << status;
  }
}

TEST_F(BadInput, KeysOfAnotherTypeGiveTheDefault) {
  // clang-format off
  const std::tuple<std::string, std::string, char> rows[] = {
      {"ID", "\"id\":", '"'}, {"name", "\"name\":", '"'}, {"config", "\"config\":", '{'},
      {"config.mode", "\"mode\":", '"'}, {"config.comstr", "\"comstr\":", '"'}, {"config.ip", "\"ip\":", '{'},
      {"config.ip.address", "\"address\":", '"'}, {"config.ip.port", "\"port\":", '5'}};
  // clang-format on
  for (const auto& [name, key, type] : rows) {
    for (const std::string value : {"null", "true", "1.5", "9000000000", "[]", "5", R"("5")", "{}"}) {
      const std::string content = goodBut(key, key + value + "," + key);  // the first of two counts
      const std::string checked = device.checkConfig(fromJson(content)).toString();
      EXPECT_EQ(checked == "Failed: Parameter " + name + " missing.", value[0] != type) << content;
      EXPECT_EQ(load(content) == "OK" && device.getComstr() == kDefaultComstr, checked != "OK") << content;
    }
  }
}

TEST_F(BadInput, ArgumentsWithoutAPathKeepTheLastOne) {
  for (const char* const args : {"{}", R"({"cfgfile":null})", R"({"cfgfile":7})", R"({"cfgfile":["x"]})"}) {
    configure();
    EXPECT_EQ(device.LoadConfig(fromJson(args)).toString(), "OK") << args;
    orvix::gsm::GsmDevice fresh;
    EXPECT_EQ(fresh.LoadConfig(fromJson(args)).toString(), "Failed: Failed to open : No such file or directory");
  }
  EXPECT_EQ(loadFrom(folder.path() + "\\u0000/x"), "Failed: Failed to open " + folder.path() + ": reader cb failed");
  EXPECT_EQ(loadFrom(std::string(70000, 'x')).find("Failed: Failed to open " + std::string(65000, 'x')), 0U);
}

TEST_F(BadInput, DocumentsThatLieAreTakenOrRefusedWhole) {
  start();
  forEachChange(fromJson(good), [this](const BSONObject& lie) {
    const BSONObject before = current();
    const std::string status = device.checkConfig(lie).toString();
    EXPECT_TRUE(status == "OK" || status.find("Failed: Parameter ") == 0) << status;
    EXPECT_TRUE(status == "OK" || device.SetProperty("config.current", lie).toString() == status) << status;
    EXPECT_EQ(device.applyConfig(lie).toString(), status);
    EXPECT_EQ(current(), status == "OK" ? lie : before);
  });
  forEachChange(message, [this](const BSONObject& lie) {
    const std::string status = device.SetProperty("Msg", lie).toString();
    const std::string sent = device.IoControl("sendSMS", &lie, nullptr).toString();
    const bool isOut = status == "OK" && (sent == "OK" || sent.find("Failed: received reply") == 0);
    EXPECT_TRUE(isOut || (status.find("Failed: Parameter ") == 0 && sent == status)) << status << sent;
  });
}

TEST_F(BadInput, MessagesGoOutUpToTheirFirstNulOrNotAtAll) {
  start();
  const std::string many(100000, '1');
  // Phone and text, beginning of the status, what the modem received last.
  const std::tuple<std::string, const char*, const char*> rows[] = {
      {R"(0123456789","text":"hi\u0000more)", "OK", "hi\x1a\r\n\r"},
      {R"(\u00001","text":"hi)", "Failed: Parameter params.phone is empty.", ""},
      {R"(0123456789","text":1,"more":")", "Failed: Parameter text missing.", ""},
      {R"(0123456789","text":"\u0000hi)", "Failed: Parameter text is empty.", ""},
      {R"(0123456789","text":"\u00e4)", "Failed: received reply did not match", "\xc3\xa4\x1a\r\n\r"},
      {R"(0123456789","text":")" + many, "Failed: Wrote: -", "AT+CMGS=\"0123456789\"\r"},
      {many + R"(","text":"hi)", "Failed: Wrote: -", "AT+CMGF=1\r"}};
  for (const auto& [params, status, received] : rows) {
    const BSONObject document = fromJson(R"({"phone":")" + params + R"("})");
    modem->received = {""};
    EXPECT_EQ(device.IoControl("sendSMS", &document, nullptr).toString().find(status), 0U) << status;
    EXPECT_EQ(modem->received.back(), received) << status;
    modem->line.receive();  // what went out of a command that was too long
    modem->isWaitingForText = false;
  }
}

// XPLBuildDCB's answer; it writes into the block alone, and nothing when the text does not fit.
int build(const std::string& text) {
  XplDcb blocks[4];
  std::memset(blocks, 0xA5, sizeof blocks);
  const int result = XPLBuildDCB(text.c_str(), &blocks[1], nullptr);
  const auto isUntouched = [&](int i) { return std::memcmp(&blocks[i], &blocks[3], sizeof blocks[i]) == 0; };
  EXPECT_TRUE(isUntouched(0) && isUntouched(2) && isUntouched(1) == (text.size() > 127)) << text;
  return result;
}

TEST(BadConnectionString, IsRefusedWhateverItsLengthOrByte) {
  for (std::size_t length = 0; length <= 400; ++length) {
    EXPECT_EQ(build(std::string(length, '0') + ":9600,n,8,1"), length + 11 <= 127 ? 1 : 0) << length;
    EXPECT_EQ(build("/x:" + std::string(length, '0') + "9600,n,8,1"), length + 13 <= 127 ? 1 : 0) << length;
    EXPECT_EQ(build(std::string(length, 'x')) + build("/x:" + std::string(length, '9')), 0) << length;
  }
  const std::string text = "/dev/ttyO2:9600,n,8,1";
  // How many bytes are accepted in each place: in the path all but white space and a colon.
  const int accepted[] = {248, 248, 248, 248, 248, 248, 248, 248, 248, 248, 1, 3, 1, 1, 1, 1, 6, 1, 4, 1, 2};
  for (std::size_t i = 0; i < text.size(); ++i) {
    int count = 0;
    for (int byte = 1; byte < 256; ++byte) {
      count += build(text.substr(0, i) + static_cast<char>(byte) + text.substr(i + 1));
    }
    EXPECT_EQ(count, accepted[i]) << i;
  }
}

}  // namespace
