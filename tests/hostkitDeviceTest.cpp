// A device as hostkit drives it: the built module, its thread rules, a modem that waits at its prompt.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "hostkit/error.h"
#include "hostkit/heal.h"
#include "hostkit/modemDevice.h"
#include "hostkit/statusText.h"
#include "hostkit/verdict.h"
#include "tests/world/host.h"
#include "tests/world/scriptedModem.h"

namespace orvix::hostkit {
namespace {

class HostkitDevice : public testing::Test {
 protected:
  std::unique_ptr<ModemDevice> make(const std::string& comstr, LineTrace* trace = nullptr,
                                    DeviceListener* listener = nullptr) {
    const std::string file = folder.write("modem" + std::to_string(++made) + ".json", world::configurationText(comstr));
    return std::make_unique<ModemDevice>(library, file, trace, listener);
  }

  world::TemporaryFolder folder;
  std::shared_ptr<const PluginLibrary> library = std::make_shared<const PluginLibrary>(ORVIX_MODULE);
  int made = 0;
};

TEST_F(HostkitDevice, WhatItHandsOutOutlivesTheModule) {
  world::ScriptedModem modem(world::healthyModem());
  TrafficLog log;
  LineTrace trace;
  trace.add(&log);
  EXPECT_EQ(library->typeName(), "GSMModem");
  auto device = make(modem.line.connectionString(), &trace);
  library.reset();
  EXPECT_EQ(device->line(), modem.line.connectionString());
  EXPECT_EQ(device->start().toString(), "OK");
  EXPECT_EQ(device->status(), DeviceStatus::kReady);
  const Answer report = device->report();
  const Answer sent = device->sendSms("0123456789", "hi");
  const Answer version = device->property("version");
  const Answer refused = device->sendSms("", "hi");
  device.reset();
  EXPECT_EQ(dlopen(ORVIX_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the module stays in memory";
  EXPECT_EQ(report.document.getInt32("GSMModem.report.signalQuality.percent", 0), 63);
  EXPECT_EQ(sent.status.toString(), "OK");
  EXPECT_EQ(sent.document.getString("TransmissionResult", std::string()), "OK");
  EXPECT_EQ(version.document.getString("version", std::string()), "0.00.1");
  EXPECT_EQ(parameterIn(refused.status), "params.phone");
  EXPECT_TRUE(refused.document.isEmpty());
  EXPECT_EQ(judge(log.pieces, "hi", true, false).reference, 12);
}

TEST_F(HostkitDevice, WhatTheBoundaryThrowsIsAStatusHere) {
  world::ScriptedModem modem(world::healthyModemBut({{"AT+CREG?\r", "\r\n+CREG: "}}));
  auto device = make(modem.line.connectionString());
  EXPECT_EQ(device->report().status.toString(), "Failed: the modem's registration answer is cut off");
  modem.script = world::healthyModem();
  EXPECT_EQ(device->report().status.toString(), "OK");

  const std::string ip = R"({"id":"GSMModem","name":"GSMMODEMConfiguration","config":{"mode":"ip","comstr":"x",)"
                         R"("ip":{"address":"127.0.0.1","port":1}}})";
  const auto withoutSettings = std::make_unique<ModemDevice>(library, folder.write("ip.json", ip));
  EXPECT_EQ(kindOf(withoutSettings->start()), StatusKind::kNoSettings);
  EXPECT_EQ(kindOf(withoutSettings->report().status), StatusKind::kNoSettings);
}

TEST_F(HostkitDevice, NoDeviceOfAConfigurationThatIsNotTaken) {
  EXPECT_THROW(ModemDevice(library, folder.file("none.json")), Error);
  EXPECT_THROW(ModemDevice(library, folder.write("default.json", R"({"id":"GSMModem"})")), Error);
  EXPECT_THROW(PluginLibrary(folder.file("none.so")), Error);
}

TEST_F(HostkitDevice, AnEscapeBringsAModemBackFromItsPrompt) {
  world::ScriptedModem modem(world::healthyModem());
  modem.isWaitingForText = true;
  auto device = make(modem.line.connectionString());
  for (int probe = 0; probe < 2; ++probe) {
    EXPECT_EQ(device->start().toString(), "OK");
    EXPECT_EQ(device->status(), DeviceStatus::kNotAvailable);
  }
  EXPECT_EQ(heal(device.get()).toString(), "OK");
  EXPECT_EQ(device->status(), DeviceStatus::kReady);
  EXPECT_EQ(modem.received, (std::vector<std::string>{"AT+CMGF?\r", "AT+CMGF?\r", "\x1b", "AT\r", "AT+CMGF?\r"}));
  EXPECT_EQ(device->report().status.toString(), "OK");
  modem.line.hangUp();
  EXPECT_FALSE(heal(device.get()).isOk());
  EXPECT_EQ(device->status(), DeviceStatus::kNoData);
}

// Calls from inside a call.
class Caller final : public DeviceListener, public TrafficListener {
 public:
  void onEvent(const std::string& name, const BSONObject& /*document*/) override {
    events.push_back(name);
    EXPECT_EQ(own->report().status.toString(), "OK");
    EXPECT_THROW(other->stop(), std::logic_error);
  }
  void onTraffic(const TrafficPiece& /*piece*/) override { EXPECT_THROW(own->stop(), std::logic_error); }

  ModemDevice* own = nullptr;
  ModemDevice* other = nullptr;
  std::vector<std::string> events;
};

TEST_F(HostkitDevice, AListenerMayCallItsOwnDeviceAlone) {
  world::ScriptedModem modem(world::healthyModem());
  Caller caller;
  LineTrace trace;
  trace.add(&caller);
  auto device = make(modem.line.connectionString(), &trace, &caller);
  auto other = make(modem.line.connectionString());
  caller.own = device.get();
  caller.other = other.get();
  EXPECT_EQ(device->start().toString(), "OK");
  EXPECT_EQ(device->sendSms("0123456789", "hi").status.toString(), "OK");
  EXPECT_EQ(caller.events, std::vector<std::string>{"SMS"});
}

// On silent lines every call is short; run under ThreadSanitizer this shows what the module does not lock itself.
TEST_F(HostkitDevice, AnyThreadMayCallAnyDevice) {
  world::PtyPair lines[2];
  std::unique_ptr<ModemDevice> devices[] = {make(lines[0].connectionString()), make(lines[1].connectionString())};
  std::atomic<int> done{0};
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&, number] {
      for (int round = 0; round < 25; ++round) {
        ModemDevice& device = *devices[(round + number) % 2];
        device.start();
        device.report();
        device.sendSms("123", "hi");
        device.property("config.current");
        device.exclusively([&device] { EXPECT_EQ(device.stop().toString(), "OK"); });
        ++done;
      }
    });
  }
  threads.emplace_back([&] {
    for (int round = 0; round < 10; ++round) {
      const std::string file = folder.write("more.json", world::configurationText("/dev/null:9600,n,8,1"));
      std::make_unique<ModemDevice>(library, file)->start();
      ++done;
    }
  });
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(done, 4 * 25 + 10);
  for (const auto& device : devices) {
    EXPECT_EQ(device->start().toString(), "OK") << "a port got lost";
  }
}

}  // namespace
}  // namespace orvix::hostkit

extern "C" int __wrap_nanosleep(const timespec* request, timespec* remaining);

extern "C" [[gnu::visibility("default")]] int nanosleep(const timespec* request, timespec* remaining) {
  return __wrap_nanosleep(request, remaining);
}
