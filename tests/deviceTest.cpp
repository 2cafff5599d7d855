// The device's life cycle, configuration and connection, on a pseudo-terminal in virtual time.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <cmath>
#include <stdexcept>

#include "document/document.h"
#include "tests/world/modemDevice.h"
#include "tests/world/systemCalls.h"

using orvix::BSONObject;
using orvix::DeviceStatus;
using orvix::gsm::DeviceState;
using world::fromJson;

namespace {

using DeviceTest = world::ModemDevice;

constexpr DeviceState kUnknownState{42};

struct StateRow {
  DeviceState state;
  const char* name;
  DeviceStatus status;
  const char* startRefusal;      // of Start; null: it opens or has nothing to do
  const char* reportRefusal;     // of GetDataReport; null: it goes on
  const char* terminateRefusal;  // null: accepted
};

constexpr char kConfigFirst[] = "Failed: SetConfig first, current state : kNoData";

constexpr char kNoTerminate[] = "Failed: cannot terminate device in current State: kNone";

// clang-format off
const StateRow kStates[] = {
    {DeviceState::kNone, "kNone", DeviceStatus::kNoData, kConfigFirst, kConfigFirst, kNoTerminate},
    {DeviceState::kCreated, "kCreated", DeviceStatus::kNoData, kConfigFirst, kConfigFirst, nullptr},
    {DeviceState::kWithConfig, "kWithConfig", DeviceStatus::kNoData, nullptr, nullptr, nullptr},
    {DeviceState::kConnect, "kConnect", DeviceStatus::kReady, nullptr, nullptr, nullptr},
    {DeviceState::kReset, "kReset", DeviceStatus::kNoData, kConfigFirst, kConfigFirst, nullptr},
    {DeviceState::kInitializing, "kInitializing", DeviceStatus::kReady, nullptr, nullptr, nullptr},
    {DeviceState::kInitFailed, "kInitFailed", DeviceStatus::kError, nullptr, nullptr, nullptr},
    {DeviceState::kNotAvailable, "kNotAvailable", DeviceStatus::kNotAvailable, nullptr, nullptr, nullptr},
    {DeviceState::kError, "kError", DeviceStatus::kError, nullptr, nullptr, nullptr},
    {DeviceState::kReady, "kReady", DeviceStatus::kReady, nullptr, nullptr, nullptr},
    {kUnknownState, "kNone", DeviceStatus::kNoData, "Failed: Command not accepted in current state: kNoData",
     "Unexpected: Command not accepted in current state: kNoData", kNoTerminate},
};
// clang-format on

TEST_F(DeviceTest, EveryStateAnswersAsItsRowSays) {
  for (const StateRow& row : kStates) {
    SCOPED_TRACE(row.name);
    configure();
    device.OnStateChanged(row.state);
    EXPECT_EQ(orvix::gsm::stateName(row.state), row.name);
    EXPECT_EQ(device.GetStatus(), row.status);

    modem->received.clear();
    EXPECT_EQ(device.Start().toString(), row.startRefusal != nullptr ? row.startRefusal : "OK");
    const bool isInService = row.state == DeviceState::kConnect || row.state == DeviceState::kReady;
    const bool stays = row.startRefusal != nullptr || isInService;
    EXPECT_EQ(modem->received.empty(), stays);
    EXPECT_EQ(device.GetStatus(), stays ? row.status : DeviceStatus::kReady);

    device.OnStateChanged(row.state);
    EXPECT_EQ(report(), row.reportRefusal != nullptr ? row.reportRefusal : "OK");

    device.OnStateChanged(row.state);
    const std::string refusal = "Failed: Problem: GSM Modem Device is not ready, but in state:: ";
    BSONObject answer;
    const std::string control = device.IoControl("other", nullptr, &answer).toString();
    EXPECT_EQ(control, row.state == DeviceState::kReady ? "Invalid argument: Control Code for IoControl unknown: other"
                                                        : refusal + row.name);
    EXPECT_EQ(answer.isEmpty(), row.state != DeviceState::kReady);

    EXPECT_EQ(device.terminate().toString(), row.terminateRefusal != nullptr ? row.terminateRefusal : "OK");
    device.OnStateChanged(row.state);
    EXPECT_EQ(device.Stop().toString(), "OK");
    EXPECT_EQ(device.GetStatus(), DeviceStatus::kNoData);
    EXPECT_EQ(device.closeConnection().toString(), "Invalid handle: modemConnectionDescriptor not set");
    device.OnStateChanged(DeviceState::kWithConfig);
  }
}

TEST_F(DeviceTest, OnlyChangesOfTheVisibleStatusAreTold) {
  const world::LogCapture log(3);
  device.OnStateChanged(DeviceState::kWithConfig);  // still kNoData
  EXPECT_TRUE(sink.calls.empty());
  EXPECT_TRUE(log.lines.empty());
  device.OnStateChanged(DeviceState::kReady);
  device.OnStateChanged(DeviceState::kConnect);  // still kReady
  device.OnStateChanged(DeviceState::kError);
  EXPECT_EQ(sink.calls, (std::vector<std::string>{"status 4", "status 3"}));
  EXPECT_EQ(log.lines, (std::vector<std::string>{"gsmDevice:0] OnStateChanged \n\t\twas: kNoData is: kReady.",
                                                 "gsmDevice:0] OnStateChanged \n\t\twas: kReady is: kError."}));
  EXPECT_TRUE(device.OnEvent("SMS", fromJson("{}")));
  EXPECT_EQ(sink.calls.back(), "event SMS { }");
  EXPECT_TRUE(device.SetEventSink(nullptr));
  device.OnStateChanged(DeviceState::kReady);
  EXPECT_FALSE(device.OnEvent("SMS", BSONObject()));
  EXPECT_EQ(sink.calls.size(), 3U);
}

TEST_F(DeviceTest, LockedOrMissingLineFailsTheStartAndKeepsTheState) {
  const world::LogCapture log(1);
  configure();
  const int holder = open(modem->line.path().c_str(), O_RDWR | O_NOCTTY);
  ASSERT_EQ(flock(holder, LOCK_EX | LOCK_NB), 0);
  const std::string refused = "Failed: XPLOpen dcb:: " + link + ":9600,n,8,1";
  EXPECT_EQ(device.Start().toString(), refused);
  EXPECT_TRUE(log.has("logging:35] " + link + ": lock: Resource temporarily unavailable"));
  device.OnStateChanged(DeviceState::kError);
  sink.calls.clear();
  EXPECT_EQ(device.Start().toString(), refused);
  EXPECT_EQ(device.GetStatus(), DeviceStatus::kError);
  EXPECT_TRUE(sink.calls.empty());
  close(holder);
  EXPECT_EQ(device.Start().toString(), "OK");
  device.Stop();
  std::filesystem::remove(link);
  EXPECT_EQ(device.Start().toString(), refused);
  EXPECT_TRUE(log.has("logging:35] " + link + ": open: No such file or directory"));
}

// clang-format off
const std::pair<const char*, const char*> kConfigs[] = {
    {R"({"id":"gsmmodem","name":"gsmmodemconfiguration","config":)"
     R"({"mode":"x","comstr":"y","ip":{"address":"z","port":0}},"more":1})", "OK"},
    {R"({})", "Failed: Parameter ID missing."},
    {R"({"id":"a"})", "Failed: Parameter name missing."},
    {R"({"id":"a","name":"b"})", "Failed: Parameter config missing."},
    {R"({"id":"a","name":"b","config":{}})", "Failed: Parameter config.mode missing."},
    {R"({"id":"a","name":"b","config":{"mode":""}})", "Failed: Parameter config.comstr missing."},
    {R"({"id":"a","name":"b","config":{"mode":"","comstr":""}})", "Failed: Parameter config.ip missing."},
    {R"({"id":"a","name":"b","config":{"mode":"","comstr":"","ip":{}}})", "Failed: Parameter config.ip.address missing."},
    {R"({"id":"a","name":"b","config":{"mode":"","comstr":"","ip":{"address":"","port":"2233"}}})",
     "Failed: Parameter config.ip.port missing."},
    {R"({"id":"a","name":"b","config":{"mode":"","comstr":"","ip":{"address":"","port":1}}})",
     "Failed: Parameter ID invalid."},
    {R"({"id":"GSMMODEM","name":"GsmModem","config":{"mode":"","comstr":"","ip":{"address":"","port":1}}})",
     "Failed: Parameter name invalid.: Expected [GSMMODEMConfiguration] But got [GsmModem]..."},
    {R"({"id":"GSMModem","name":"GSMModemConfiguration","config":)"
     R"({"mode":"","comstr":"","ip":{"address":"","port":1}}})", "Failed: Parameter config.mode is empty."},
    {R"({"id":"GSMModem","name":"GSMModemConfiguration","config":)"
     R"({"mode":"a","comstr":"","ip":{"address":"","port":1}}})", "Failed: Parameter config.comstr is empty."},
    {R"({"id":"GSMModem","name":"GSMModemConfiguration","config":)"
     R"({"mode":"a","comstr":"b","ip":{"address":"","port":1}}})", "Failed: Parameter config.ip.address is empty."},
};
// clang-format on

constexpr char kDefaultConfig[] =
    R"({ "id" : "GSMModem", "name" : "GSMMODEMConfiguration", "config" : { "mode" : "com", "comstr" : )"
    R"("/dev/ttyO2:9600,n,8,1", "ip" : { "address" : "192.168.1.256", "port" : 2233 } } })";

TEST_F(DeviceTest, ConfigurationIsCheckedInAFixedOrder) {
  for (const auto& [text, status] : kConfigs) {
    EXPECT_EQ(device.checkConfig(fromJson(text)).toString(), status) << text;
  }
  EXPECT_EQ(device.checkConfig(BSONObject()).toString(), "Failed: Parameter ID missing.");
}

TEST_F(DeviceTest, BadFileLeavesTheDefaultInMemoryAlone) {
  const world::LogCapture log(2);
  configure(R"({"id":"other"})");
  EXPECT_EQ(log.lines, std::vector<std::string>{"gsmDevice:0] LoadConfig: checkConfig failed: Failed: Parameter name "
                                                "missing.. Loading default config!"});
  BSONObject current;
  EXPECT_EQ(device.GetProperty("config.current", &current).toString(), "OK");
  EXPECT_EQ(current.toJSON(), kDefaultConfig);
  EXPECT_EQ(world::readText(folder.file("modem.json")), R"({"id":"other"})");
  EXPECT_TRUE(sink.calls.empty());
}

TEST_F(DeviceTest, UnreadableFileIsTheLoadersFailure) {
  const auto load = [this](const std::string& path) {
    return device.LoadConfig(fromJson(R"({"cfgfile":")" + path + R"("})")).toString();
  };
  EXPECT_EQ(load("/nowhere/a.json"), "Failed: Failed to open /nowhere/a.json: No such file or directory");
  EXPECT_EQ(device.Start().toString(), kConfigFirst);
  device.OnStateChanged(DeviceState::kNone);
  EXPECT_EQ(load("/nowhere/a.json"), "Unexpected: this device is in an illegal state");
  EXPECT_EQ(device.SetConfig(BSONObject()).toString(), "Unexpected: this device is in an illegal state");
}

TEST_F(DeviceTest, ReloadClosesAnActiveConnection) {
  start();
  const int before = world::openDescriptors();
  EXPECT_EQ(device.LoadConfig(BSONObject()).toString(), "OK");  // the file stays the one of last time
  EXPECT_EQ(world::openDescriptors(), before - 1);
  EXPECT_EQ(device.GetStatus(), DeviceStatus::kNoData);
  EXPECT_TRUE(sink.calls.empty());
}

TEST_F(DeviceTest, SetConfigSavesButKeepsWhatIsInMemory) {
  configure();
  const BSONObject next = fromJson(world::configurationText("/dev/ttyS9:1200,e,7,2"));
  EXPECT_EQ(device.SetProperty("config.current", next).toString(), "OK");
  EXPECT_EQ(world::readText(folder.file("modem.json")), next.toJSON());
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"line", "modem.json"}));
  EXPECT_EQ(device.getComstr(), link + ":9600,n,8,1");
  device.OnStateChanged(DeviceState::kReady);
  sink.calls.clear();
  EXPECT_EQ(device.SetConfig(next).toString(), "OK");
  EXPECT_EQ(device.GetStatus(), DeviceStatus::kReady);
  EXPECT_TRUE(sink.calls.empty());

  const world::LogCapture log(2);
  EXPECT_EQ(device.SetConfig(fromJson(R"({"id":"a"})")).toString(), "Failed: Parameter name missing.");
  EXPECT_TRUE(
      log.has("gsmDevice:0] SetConfig: checkConfig failed: Failed: Parameter name missing.. Loading default config!"));
  for (const bool isNumber : {true, false}) {
    orvix::BSONBuilder more;
    more.fromObject(next);
    isNumber ? more.appendDouble("more", HUGE_VAL) : more.appendString("more", "\xff");
    EXPECT_EQ(device.SetConfig(more.getObject(false)).toString(), "Failed: SetConfig: a value has no form in JSON");
  }
  EXPECT_EQ(world::readText(folder.file("modem.json")), next.toJSON());
}

TEST_F(DeviceTest, FailedSaveStillAppliesTheTargetState) {
  const BSONObject next = fromJson(world::configurationText("/dev/ttyS9:1200,e,7,2"));
  EXPECT_EQ(device.LoadConfig(fromJson(R"({"cfgfile":"/nowhere/a.json"})")).isOk(), false);
  EXPECT_EQ(device.SetConfig(next).toString(), "Failed: Create temp file No such file or directory");
  EXPECT_EQ(device.Start().toString(), "Failed: unknown mode");  // kWithConfig, with no configuration in memory
}

TEST_F(DeviceTest, LogLinesNeedTheirVerbosity) {
  connect({});
  const BSONObject bad = fromJson("{\"a\":1}");
  // At 1 the serial library's reports as well.
  const std::size_t counts[] = {0, 6, 8, 12};
  for (int level = 0; level < 4; ++level) {
    const world::LogCapture log(level);
    device.OnStateChanged(DeviceState::kReady);
    device.OnEvent("SMS", bad);
    device.SetConfig(bad);
    device.initConnection("nonsense");
    device.OnStateChanged(DeviceState::kReset);
    BSONObject current;
    device.getConfig(&current);
    EXPECT_EQ(log.lines.size(), counts[level]) << testing::PrintToString(log.lines);
  }
}

TEST_F(DeviceTest, PropertiesAnswerByName) {
  configure();
  BSONObject answer;
  EXPECT_EQ(device.GetProperty("version", nullptr).toString(), "Invalid pointer: pProperty");
  EXPECT_EQ(device.GetProperty("version", &answer).toString(), "OK");
  EXPECT_EQ(answer.toJSON(), R"({ "version" : "0.00.1" })");
  EXPECT_EQ(device.GetProperty("config.types", &answer).toString(), "OK");
  EXPECT_EQ(answer.toJSON(), R"({ "id" : "GSMModem", "name" : "GSMMODEM LOV", "LOV" : "not supported" })");
  EXPECT_EQ(device.GetProperty("Msg", &answer).toString(), "OK");
  EXPECT_TRUE(answer.isEmpty());
  BSONObject message = fromJson(R"({"phone":"1","text":"t","x":1})");
  EXPECT_EQ(device.SetProperty("Msg", message).toString(), "OK");
  message.concat(fromJson(R"({"later":1})"));
  EXPECT_EQ(device.GetProperty("Msg", &answer).toString(), "OK");
  answer.concat(fromJson(R"({"mine":1})"));
  EXPECT_EQ(device.GetProperty("Msg", &answer).toString(), "OK");
  EXPECT_EQ(answer.toJSON(), R"({ "phone" : "1", "text" : "t", "x" : 1 })");
  EXPECT_EQ(device.SetProperty("version", answer).toString(), "Invalid argument: Unknown Property: version");
}

TEST_F(DeviceTest, UnknownNamesAreShownUpToTheirFirstNul) {
  device.OnStateChanged(DeviceState::kReady);
  for (const std::string& name : {std::string(), std::string("Version"), std::string("config"), std::string("\xc3\xff"),
                                  std::string("sendSMS\0", 8), std::string("Msg\0x", 5), std::string(60000, 'x')}) {
    const std::string shown = (name.empty() ? "" : ": ") + name.substr(0, name.find('\0'));
    BSONObject answer;
    EXPECT_EQ(device.GetProperty(name, &answer).toString(), "Invalid argument: Unknown Property" + shown);
    EXPECT_EQ(device.SetProperty(name, answer).toString(), "Invalid argument: Unknown Property" + shown);
    EXPECT_EQ(device.IoControl(name, &answer, nullptr).toString(),
              "Invalid argument: Control Code for IoControl unknown" + shown);
    EXPECT_TRUE(answer.isEmpty());
  }
}

TEST_F(DeviceTest, CurrentConfigurationIsTheDefaultBeforeService) {
  const world::LogCapture log(3);
  BSONObject current;
  EXPECT_EQ(device.getConfig(&current).toString(), "OK");
  EXPECT_EQ(current.toJSON(), kDefaultConfig);
  EXPECT_EQ(log.lines,
            (std::vector<std::string>{"gsmDevice:0] getConfig: config not yet set. Loading default config!",
                                      "gsmDevice:0] getConfig: in state kCreated or kReset. Loading default config!"}));
  configure();
  EXPECT_EQ(device.getConfig(&current).toString(), "OK");
  EXPECT_EQ(current.getString("config.comstr", ""), link + ":9600,n,8,1");
  current.concat(fromJson(R"({"mine":1})"));
  BSONObject again;
  EXPECT_EQ(device.getConfig(&again).toString(), "OK");
  EXPECT_FALSE(again.has("mine"));
  device.OnStateChanged(DeviceState::kReset);
  EXPECT_EQ(device.getConfig(&current).toString(), "OK");
  EXPECT_EQ(current.toJSON(), kDefaultConfig);
}

std::string withMode(const std::string& mode, const std::string& comstr) {
  std::string text = world::configurationText(comstr);
  return text.replace(text.find("\"com\""), 5, "\"" + mode + "\"");
}

TEST_F(DeviceTest, ModeChoosesTheConnectionString) {
  const world::LogCapture log(3);
  configure(withMode("ip", "/dev/ttyS1:115200,n,8,1"));
  EXPECT_EQ(device.composeComstr(), "/dev/tcp/10.0.0.5/5000:115200,n,8,1");
  EXPECT_EQ(device.Start().toString(), "Failed: XPLOpen dcb:: /dev/tcp/10.0.0.5/5000:115200,n,8,1");
  configure(withMode("ip", "/dev/ttyS1"));
  EXPECT_THROW(device.Start(), std::out_of_range);
  configure(withMode("IP", "/dev/ttyS1:115200,n,8,1"));
  EXPECT_EQ(device.Start().toString(), "Failed: unknown mode: IP");
  configure(withMode("com", "/dev/ttyS1:115200,x,8,1"));
  EXPECT_EQ(device.Start().toString(), "Failed: XPLBuildDCB");
  EXPECT_TRUE(log.has(
      "gsmDevice:0] XPLBuildDCB Error: dcbConnectionString= /dev/ttyS1:115200,x,8,1"));  // glog drops the last newline
  configure();
  EXPECT_EQ(device.initConnection(link + ":9600,n,8,1").toString(), "OK");
  EXPECT_TRUE(log.has("gsmDevice:0] initConnection successfully connected with this dcbConnectionString: [" + link +
                      ":9600,n,8,1]"));
  EXPECT_EQ(device.initConnection("nonsense").toString(), "OK");  // an open connection is not opened again
}

}  // namespace
