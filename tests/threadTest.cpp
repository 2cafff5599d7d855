// What several threads may do at once, each in virtual time of its own. Says most when built with the thread sanitizer.

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>

#include "device/gsmDevice.h"
#include "document/document.h"
#include "tests/world/host.h"
#include "tests/world/scriptedModem.h"

using orvix::BSONObject;
using orvix::gsm::GsmDevice;
using world::fromJson;

namespace {

using Threads = std::vector<std::future<void>>;  // Its end waits for theirs.

constexpr char kMessageText[] = R"({"phone":"0123456789","text":"hi"})";
constexpr char kMessage[] = "AT+CMGF=1\rAT+CMGS=\"0123456789\"\rhi\x1a\r\n\r";

// A device in service, and its modem, which answers from a thread of its own. Whoever calls the device listens with it.
class DeviceFixture : public world::ClockListener {
 public:
  DeviceFixture() {
    listen();
    const std::string text = world::configurationText(line.connectionString());
    device.LoadConfig(fromJson(R"({"cfgfile":")" + folder.write("modem.json", text) + R"("})"));
    device.setSmsParams(fromJson(kMessageText));
    EXPECT_EQ(device.Start().toString(), "OK");
  }
  ~DeviceFixture() { isOver = true; }

  void listen() { world::VirtualClock::instance().listener = this; }

  void beforeSleep(std::int64_t /*nowMs*/) override {
    tell([this] { isMixed = ++asleep > 1 || isMixed; });
  }

  // Sleeps until the answer is there, and leaves the others a while to break in.
  void afterSleep(std::int64_t /*nowMs*/) override {
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_TRUE(changed.wait_for(lock, std::chrono::seconds(60), [this] { return answers > 0 || isMixed; }));
    changed.wait_for(lock, std::chrono::milliseconds(1), [this] { return isMixed; });
    --answers;
    --asleep;
  }

  bool receives(const std::string& text, int seconds) {
    std::unique_lock<std::mutex> lock(mutex);
    const auto isReceived = [&] { return received.find(text) != std::string::npos; };
    return changed.wait_for(lock, std::chrono::seconds(seconds), isReceived);
  }

  GsmDevice device;
  std::string received;  // all commands
  bool isMixed = false;  // one exchange began inside another

 private:
  void tell(const std::function<void()>& change) {
    const std::lock_guard<std::mutex> lock(mutex);
    change();
    changed.notify_all();
  }

  void serve() {
    const std::vector<world::Exchange> script = world::healthyModem();
    std::string command;
    while (!isOver) {
      pollfd ready{line.masterFd(), POLLIN, 0};
      poll(&ready, 1, 10);
      command += line.receive();
      for (const world::Exchange& row : script) {
        if (row.command == command) {
          tell([&] { received += std::exchange(command, ""); });
          line.send(row.reply);
          tell([&] { ++answers; });
        }
      }
    }
  }

  world::TemporaryFolder folder;
  world::PtyPair line;
  std::mutex mutex;
  std::condition_variable changed;
  int answers = 0;
  int asleep = 0;
  std::atomic<bool> isOver{false};
  std::future<void> server = std::async(std::launch::async, [this] { serve(); });
};

const std::function<orvix::Status(GsmDevice*)> kCommands[] = {
    [](GsmDevice* device) {
      const BSONObject message = fromJson(kMessageText);
      return device->IoControl("sendSMS", &message, nullptr);
    },
    [](GsmDevice* device) { return device->getSignalQuality(nullptr); },
    [](GsmDevice* device) { return device->getNetworkRegistrationStatus(nullptr); },
    [](GsmDevice* device) { return device->probeModem(); },
    [](GsmDevice* device) {
      device->OnStateChanged(orvix::gsm::DeviceState::kReady);  // as a report does
      return device->IoControl("status", nullptr, nullptr).code() == orvix::Status::kInvalidArgument
                 ? orvix::Status()
                 : orvix::Status::failed("not ready");
    },
};

TEST(ThreadTest, CommandsOfEachDeviceTakeTurns) {
  constexpr int kTimes = 10;
  DeviceFixture fixtures[3];
  Threads threads;
  for (DeviceFixture& fixture : fixtures) {
    for (const auto& command : kCommands) {
      threads.push_back(std::async(std::launch::async, [&] {
        fixture.listen();
        for (int i = 0; i < kTimes; ++i) {
          EXPECT_EQ(command(&fixture.device).toString(), "OK");
        }
      }));
    }
  }
  threads.clear();
  for (const DeviceFixture& fixture : fixtures) {
    EXPECT_FALSE(fixture.isMixed);
    int messages = 0;
    for (std::size_t at = 0; (at = fixture.received.find(kMessage, at)) != std::string::npos; ++at) {
      ++messages;
    }
    EXPECT_EQ(messages, kTimes);
  }
}

TEST(ThreadTest, LineClosesBehindTheMessage) {
  for (int i = 0; i < 10; ++i) {
    DeviceFixture fixture;
    const auto sent = std::async(std::launch::async, [&] {
      fixture.listen();
      EXPECT_EQ(fixture.device.sendSms().toString(), "OK");
    });
    EXPECT_TRUE(fixture.receives("AT+CMGF=1", 60));
    EXPECT_EQ(fixture.device.terminate().toString(), "OK");
    EXPECT_TRUE(fixture.receives(kMessage, 0));
  }
}

TEST(ThreadTest, DocumentsAndReportsAreReadByAll) {
  orvix::gsm::GsmDataReport report({20, 1});
  BSONObject document;
  report.GetDocument(&document);
  Threads threads;
  for (int i = 0; i < 4; ++i) {
    threads.push_back(std::async(std::launch::async, [document, &report] {
      for (int repeat = 0; repeat < 200; ++repeat) {
        const std::vector<BSONObject> handles(3, document);
        orvix::BSONValue percent(true);
        EXPECT_TRUE(report.GetValue("GSMModem.report.signalQuality.percent", &percent));
        EXPECT_EQ(handles[2].getInt32("GSMModem.report.signalQuality.percent", 0), percent.getInt32());
        EXPECT_EQ(handles[0].copy().toJSON(), document.toJSON());
        EXPECT_STREQ(BSONObject().getString("absent", "none"), "none");
      }
    }));
  }
  document = {};
  threads.clear();
}

}  // namespace
