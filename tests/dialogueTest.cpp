// What the device says to its modem and makes of the answers, on a pseudo-terminal in virtual time.

#include <gtest/gtest.h>

#include <stdexcept>

#include "document/document.h"
#include "tests/world/modemDevice.h"
#include "tests/world/systemCalls.h"

using orvix::BSONObject;
using orvix::DeviceStatus;
using orvix::gsm::DeviceState;
using world::fromJson;
using world::VirtualClock;

namespace {

using DialogueTest = world::ModemDevice;
using Sleeps = std::vector<std::int64_t>;
using Lines = std::vector<std::string>;

TEST_F(DialogueTest, ExchangeSendsAllButTheLastByteAndWaitsAtLeast100Ms) {
  start();
  modem->script = {{"AT\r", "OK"}};
  for (const auto& [waitMs, sleptMs] : std::vector<std::pair<int, int>>{{-5, 100}, {0, 100}, {100, 100}, {101, 101}}) {
    VirtualClock::instance().sleepsMs.clear();
    EXPECT_EQ(device.sendAtCommand("AT\r\n", "OK", waitMs, nullptr).toString(), "OK");
    EXPECT_EQ(VirtualClock::instance().sleepsMs, Sleeps{sleptMs}) << waitMs;
  }
  EXPECT_EQ(modem->received, Lines(4, "AT\r"));
  EXPECT_EQ(device.sendAtCommand("", "OK", 0, nullptr).toString(), "Failed: message empty!");
  EXPECT_EQ(device.sendAtCommand("A", "OK", 0, nullptr).toString(), "Failed: Wrote: 0 should write: 0");
  EXPECT_EQ(modem->received.size(), 4U);
  std::string reply = "untouched";
  modem->script = {{"AT\r", ""}, {"ATI\r", "\xff\n"}, {"AT&V\r", {"\0OK", 3}}};
  EXPECT_EQ(device.sendAtCommand("AT\r\n", "", 0, &reply).toString(), "Failed: received NO reply!");
  EXPECT_EQ(reply, "untouched");
  EXPECT_FALSE(device.sendAtCommand("ATI\r\n", "OK", 0, &reply).isOk());
  EXPECT_EQ(reply, "\xff\n");
  EXPECT_TRUE(device.sendAtCommand("AT&V\r\n", "", 0, &reply).isOk());
  EXPECT_EQ(reply, "");
}

const BSONObject& message() {
  static const BSONObject hi = fromJson(R"({"phone":"0123456789","text":"hi"})");
  return hi;
}

TEST_F(DialogueTest, BadParametersSendNothing) {
  start();
  BSONObject answer;
  EXPECT_EQ(device.IoControl("sendSMS", nullptr, &answer).toString(), "Invalid pointer: pInParam is null");
  const std::pair<const char*, const char*> rows[] = {
      {R"({})", "Failed: Parameter phone missing."},
      {R"({"phone":1,"text":"a"})", "Failed: Parameter phone missing."},
      {R"({"phone":""})", "Failed: Parameter text missing."},
      {R"({"phone":"","text":""})", "Failed: Parameter params.phone is empty."},
      {R"({"phone":"1","text":""})", "Failed: Parameter text is empty."},
  };
  for (const auto& [params, status] : rows) {
    const BSONObject document = fromJson(params);
    EXPECT_EQ(device.IoControl("sendSMS", &document, &answer).toString(), status);
  }
  EXPECT_TRUE(answer.isEmpty());
  EXPECT_TRUE(modem->received.empty());
  EXPECT_TRUE(sink.calls.empty());
}

TEST_F(DialogueTest, OtherControlCodesAnswerWithTheTypeAlone) {
  start();
  BSONObject answer;
  EXPECT_EQ(device.IoControl("sendsms", &message(), &answer).toString(),
            "Invalid argument: Control Code for IoControl unknown: sendsms");
  EXPECT_EQ(answer.toJSON(), R"({ "id" : "GSMModem" })");
  answer = BSONObject();
  const int open = world::openDescriptors();
  EXPECT_EQ(device.IoControl("TerminateDevice", nullptr, &answer).toString(), "OK");
  EXPECT_EQ(answer.toJSON(), R"({ "id" : "GSMModem" })");
  EXPECT_EQ(sink.calls, (Lines{"status 0"}));
  EXPECT_EQ(world::openDescriptors(), open - 1);
  EXPECT_EQ(device.IoControl("TerminateDevice", nullptr, nullptr).toString(),
            "Failed: Problem: GSM Modem Device is not ready, but in state:: kWithConfig");
}

TEST_F(DialogueTest, QueriesHandBackTheText) {
  start();
  const world::LogCapture log(3);
  std::string value = "untouched";
  EXPECT_EQ(device.getSignalQuality(&value).toString(), "OK");
  EXPECT_EQ(value, "20");
  EXPECT_EQ(log.lines, (Lines{"gsmDevice:710] GSM SignalStrength is [20]"}));
  EXPECT_EQ(device.getNetworkRegistrationStatus(&value).toString(), "OK");
  EXPECT_EQ(value, "1");
  EXPECT_EQ(device.getSignalQuality(nullptr).toString(), "OK");
  modem->script = {{"AT+CREG?\r", "+CREG: 1"}};
  EXPECT_EQ(device.getNetworkRegistrationStatus(nullptr).toString(), "OK");
  EXPECT_THROW(device.getNetworkRegistrationStatus(&value), std::out_of_range);
  EXPECT_EQ(device.getSignalQuality(&value).toString(), "Failed: getSignalQuality");
  modem->script.clear();
  EXPECT_EQ(device.getNetworkRegistrationStatus(&value).toString(), "Failed: getNetworkRegistrationStatus");
  EXPECT_EQ(value, "1");
}

TEST_F(DialogueTest, ReportConnectsAndPresentsTheMeasurement) {
  configure();
  const std::time_t before = std::time(nullptr);
  EXPECT_EQ(report(), "OK");
  EXPECT_EQ(modem->received, (Lines{"AT+CMGF?\r", "AT+CSQ\r", "AT+CREG?\r"}));
  EXPECT_EQ(device.GetStatus(), DeviceStatus::kReady);
  EXPECT_EQ(sink.calls.front(), "status 4");

  std::time_t time = 0;
  EXPECT_TRUE(lastReport->GetTimestamp(&time));
  EXPECT_LE(before, time);
  EXPECT_LE(time, std::time(nullptr));
  BSONObject document;
  EXPECT_TRUE(lastReport->GetDocument(&document));
  const std::string when = document.getString("GSMModem.report.time", "");
  EXPECT_EQ(document.toJSON(), R"({ "GSMModem" : { "report" : { "time" : ")" + when +
                                   R"(", "signalQuality" : { "percent" : 63, "dBm" : -73, "valid" : true }, )"
                                   R"("NetworkRegistration" : { "status" : "home", "valid" : true } } } })");
  std::tm local{};
  document.concat(fromJson(R"({"more":1})"));
  BSONObject again;
  EXPECT_TRUE(lastReport->GetDocument(&again));
  EXPECT_EQ(again.count(), 1U);
  EXPECT_NE(strptime(when.c_str(), "%d.%m.%Y %H:%M", &local), nullptr) << when;
  EXPECT_EQ(when.size(), 16U);
  orvix::BSONValue value(true);
  EXPECT_TRUE(lastReport->GetValue("GSMModem.report.signalQuality.dBm", &value));
  EXPECT_EQ(value.getInt32(), -73);
  EXPECT_FALSE(lastReport->GetValue("GSMModem.report.none", &value));
  EXPECT_EQ(value.getInt32(), -73);
  EXPECT_FALSE(lastReport->GetTimestamp(nullptr) || lastReport->GetValue("GSMModem", nullptr) ||
               lastReport->GetDocument(nullptr));
}

TEST_F(DialogueTest, OnlyChangedReportsReachTheSinkAcrossAllDevices) {
  start();
  const auto isTold = [this](const char* csq, const char* creg) {
    modem->script = {{"AT+CMGF?\r", "OK"}, {"AT+CSQ\r", csq}, {"AT+CREG?\r", creg}};
    sink.calls.clear();
    EXPECT_EQ(report(), "OK");
    return sink.calls == Lines{"report"};
  };
  isTold("+CSQ: 7,99", "+CREG: 0,1");
  EXPECT_FALSE(isTold("+CSQ: 7,1", "+CREG: 2,1"));
  EXPECT_TRUE(isTold("+CSQ: 8,99", "+CREG: 0,1"));
  EXPECT_TRUE(isTold("+CSQ: 8,99", "+CREG: 0,5"));
  EXPECT_FALSE(isTold("+CSQ: 8,99", "+CREG: 0,5"));
  EXPECT_TRUE(isTold("+CSQ: 0,99", "+CREG: 0,5"));
  EXPECT_FALSE(isTold("+CSQ: 1,99", "+CREG: 0,5"));  // both out of range
  EXPECT_TRUE(isTold("+CSQ: 1,99", "+CREG: 0,4"));
  EXPECT_TRUE(isTold("+CSQ: 1,99", "+CREG: 0,7"));  // "unknown" both times, but not valid
  device.Stop();

  orvix::gsm::GsmDevice other;
  other.SetEventSink(&sink);
  other.LoadConfig(fromJson(R"({"cfgfile":")" + folder.file("modem.json") + R"("})"));
  sink.calls.clear();
  orvix::IDeviceDataReport* raw = nullptr;
  EXPECT_EQ(other.GetDataReport(&raw).toString(), "OK");
  delete raw;
  EXPECT_EQ(sink.calls, (Lines{"status 4"}));
}

TEST_F(DialogueTest, ReportWithoutOutPointerOnlyConnects) {
  configure();
  EXPECT_EQ(device.GetDataReport(nullptr).toString(), "Invalid pointer: ppReport");
  EXPECT_EQ(modem->received, (Lines{"AT+CMGF?\r"}));
  EXPECT_EQ(device.IoControl("sendSMS", &message(), nullptr).toString(),
            "Failed: Problem: GSM Modem Device is not ready, but in state:: kConnect");
  device.OnStateChanged(DeviceState::kReady);
  EXPECT_EQ(device.GetDataReport(nullptr).toString(), "Invalid pointer: ppReport");
  EXPECT_EQ(device.IoControl("sendSMS", &message(), nullptr).toString(), "OK");
  EXPECT_EQ(device.GetStatus(), DeviceStatus::kReady);
}

TEST_F(DialogueTest, CommandReopensAClosedLine) {
  start();
  device.closeConnection();
  std::string value;
  EXPECT_EQ(device.getSignalQuality(&value).toString(), "OK");
  device.closeConnection();
  std::filesystem::remove(link);
  EXPECT_EQ(device.IoControl("sendSMS", &message(), nullptr).toString(),
            "Failed: XPLOpen dcb:: " + link + ":9600,n,8,1");
}

class Tracer : public orvix::ITraceProvider {
 public:
  bool enabled = true;
  std::string traffic;

  bool IsTraceEnabled() override { return enabled; }
  void* GetTraceContext() override { return this; }
  XplTraceCallback GetTraceCallback() override { return record; }

 private:
  static int record(void* context, int kind, unsigned /*slot*/, const void* data, unsigned length) {
    static_cast<Tracer*>(context)->traffic +=
        std::to_string(kind) + std::string(static_cast<const char*>(data), kind < 3 ? length : 0);
    return 0;
  }
};

TEST_F(DialogueTest, TraceProviderIsAskedAtEveryOpen) {
  Tracer tracer;
  device.setTraceProvider(&tracer);
  configure();
  device.Start();
  EXPECT_EQ(tracer.traffic, "2AT+CMGF?\r1\r\n+CMGF: 0\r\n\r\nOK\r\n");
  // The line is read in pieces of 128 bytes, up to what the reply has room for.
  modem->script = {{"AT+CSQ\r", std::string(150, 'x')}};
  tracer.traffic.clear();
  EXPECT_FALSE(device.getSignalQuality(nullptr).isOk());
  EXPECT_EQ(tracer.traffic, "2AT+CSQ\r1" + std::string(128, 'x') + "1" + std::string(22, 'x'));
  device.Stop();
  tracer.enabled = false;
  tracer.traffic.clear();
  device.Start();
  EXPECT_EQ(tracer.traffic, "");
}

}  // namespace
