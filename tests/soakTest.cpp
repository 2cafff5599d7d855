// Long use in virtual time: the device keeps its word at every step, and gives back whatever it took.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <random>
#include <regex>
#include <stdexcept>

#include "tests/world/footprint.h"
#include "tests/world/modemDevice.h"

using orvix::DeviceStatus;
using orvix::gsm::GsmDevice;
using world::configurationText;
using world::fromJson;
using world::openDescriptors;

namespace {

constexpr unsigned kSeed = 27005;
constexpr std::size_t kRounds = ORVIX_SOAK_ROUNDS;

const std::regex kDocumented(
    "OK|std::out_of_range|Failed: (received NO reply!|received reply did not match expected reply|ERROR: 500.*|"
    "Wrote: 0 should write: 0|getSignalQuality|getNetworkRegistrationStatus|"
    "Problem: GSM Modem Device is not ready, but in state:: k(WithConfig|NotAvailable))");

constexpr char kNotOpened[] = "Failed: XPLOpen dcb:: ";

// A save waits for its disk, and this one is memory.
[[maybe_unused]] const bool kInMemory = access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 0) == 0;

class SoakTest : public world::ModemDevice {
 protected:
  std::size_t pick(std::size_t count) { return random() % count; }

  // Repeats `step`, which answers how much it did, up to `total`. Nothing may change but the bytes, which the first
  // tenth settles but for small freed pieces; a document lost in a tenth of the steps would be more.
  void soak(std::size_t total, const std::function<std::size_t()>& step) {
    std::size_t done = 0;
    const auto runTo = [&](std::size_t goal) {
      while (done < goal && !HasFailure()) {
        done += step();
        sink.calls.clear();
        modem->received.clear();
        world::VirtualClock::instance().sleepsMs.clear();
      }
      device.Stop();
      connect(world::healthyModem());
      return world::footprint();
    };
    const auto before = runTo(0);
    const auto settled = runTo(total / 10);
    const auto after = runTo(total);
    EXPECT_TRUE(std::equal(before.begin(), before.end() - 1, after.begin())) << testing::PrintToString(after);
    EXPECT_LT(after.back() - settled.back(), 65536);
    EXPECT_FALSE(HasFailure()) << "seed " << kSeed << ", after " << done;
  }

  // Leaves two of three rows as they are.
  void spoil(world::Exchange* row) {
    const auto anyTime = static_cast<int>(pick(12000));
    const std::function<void()> faults[] = {
        [&] { row->reply.clear(); },
        [&] { row->reply = "\r\nERROR\r\n"; },
        [&] { row->reply = "\r\n+CMS ERROR: 500\r\n"; },
        [&] { row->reply.resize(pick(row->reply.size())); },
        [&] { row->reply.append(1000, 'x'); },
        [&] { std::generate(row->reply.begin(), row->reply.end(), [this] { return "\0\r\nOK>,\xFF"[pick(8)]; }); },
        [&] { row->delayMs = anyTime; },  // at worst it answers another command
        [&] {
          row->pieces = {{anyTime, std::exchange(row->reply, "\r\n")}};
        },
        [&] { row->hangUp = pick(20) == 0; },
    };
    if (const std::size_t chosen = pick(3 * std::size(faults)); chosen < std::size(faults)) {
      faults[chosen]();
    }
  }

  // One operation: what it says, and the status that goes with it.
  DeviceStatus operate(std::string* said) {
    static const orvix::BSONObject message = fromJson(R"({"phone":"0123456789","text":"hi"})");
    const DeviceStatus before = device.GetStatus();
    try {
      switch (pick(6)) {
        case 0:
          *said = device.Stop().toString();
          return DeviceStatus::kNoData;
        case 1:
          *said = device.Start().toString();
          return *said == "OK" ? std::max(device.GetStatus(), DeviceStatus::kNotAvailable) : before;
        case 2:
          *said = (pick(2) == 0 ? device.probeModem() : device.IoControl("sendSMS", &message, nullptr)).toString();
          return before;
        default:
          *said = report();
          return *said == "OK" ? DeviceStatus::kReady : DeviceStatus::kNotAvailable;
      }
    } catch (const std::out_of_range&) {
      *said = "std::out_of_range";  // from a registration answer that is cut short
      return before;
    }
  }

  std::mt19937 random{kSeed};
};

TEST_F(SoakTest, ExchangesWithAModemThatMisbehaves) {
  const int closed = openDescriptors();
  configure();
  soak(10 * kRounds, [&] {
    modem->script = world::healthyModem();
    std::for_each(modem->script.begin(), modem->script.end(), [this](auto& row) { spoil(&row); });
    std::string said;
    const DeviceStatus expected = operate(&said);
    EXPECT_EQ(device.GetStatus(), expected) << said;
    const bool isDead = modem->line.masterFd() == -1;
    EXPECT_TRUE(std::regex_match(said, kDocumented) || (isDead && said.find(kNotOpened) == 0)) << said;
    const int open = openDescriptors() - closed + (isDead ? 1 : 0);
    EXPECT_TRUE(open == 1 || (open == 0 && expected != DeviceStatus::kReady)) << open << " after " << said;
    const std::size_t exchanges = modem->received.size();
    if (isDead && pick(3) == 0) {
      connect({});
    }
    if (modem->isWaitingForText && pick(3) == 0) {
      modem->isWaitingForText = false;  // somebody sends an Escape
    }
    return exchanges;
  });
}

TEST_F(SoakTest, CyclesLeaveNothingBehind) {
  configure();
  soak(kRounds, [this] {
    EXPECT_EQ(device.Start().toString(), "OK");
    EXPECT_EQ(device.Stop().toString(), "OK");
    EXPECT_EQ(sink.calls, (std::vector<std::string>{"status 4", "status 0"}));
    return 1;
  });
  soak(kRounds, [this] {
    GsmDevice other;
    other.LoadConfig(fromJson(R"({"cfgfile":")" + folder.file("modem.json") + R"("})"));
    EXPECT_EQ(other.Start().toString(), "OK");
    return 1;
  });
  soak(kRounds, [this] {
    const std::string comstr = "/dev/tty" + std::to_string(pick(1000)) + ":9600,n,8,1";
    EXPECT_EQ(device.SetConfig(fromJson(configurationText(comstr))).toString(), "OK");
    EXPECT_EQ(device.LoadConfig({}).toString(), "OK");
    EXPECT_EQ(device.getComstr(), comstr);
    return 1;
  });
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"line", "modem.json"}));
}

struct EightModems : world::ClockListener {
  void beforeSleep(std::int64_t /*nowMs*/) override {
    std::for_each(std::begin(lines), std::end(lines),
                  [](auto& line) { line.send(line.receive().empty() ? "" : "OK"); });
  }
  void afterSleep(std::int64_t /*nowMs*/) override {}

  world::PtyPair lines[8];
};

TEST_F(SoakTest, EightDevicesTakeTurnsOnSevenPorts) {
  EightModems modems;
  std::vector<std::unique_ptr<GsmDevice>> devices;
  for (const auto& line : modems.lines) {
    const std::string file = folder.write("modem.json", configurationText(line.connectionString()));
    devices.push_back(std::make_unique<GsmDevice>());
    devices.back()->LoadConfig(fromJson(R"({"cfgfile":")" + file + R"("})"));
  }
  const auto isReady = [](const auto& each) { return each->GetStatus() == DeviceStatus::kReady; };
  soak(kRounds / 10, [&] {
    world::VirtualClock::instance().listener = &modems;
    for (const std::size_t stopped : {pick(8), devices.size()}) {
      std::shuffle(devices.begin(), devices.end(), random);
      for (const auto& each : devices) {
        const bool fits = isReady(each) || std::count_if(devices.begin(), devices.end(), isReady) < 7;
        EXPECT_EQ(each->Start().toString(), fits ? "OK" : kNotOpened + each->getComstr());
        EXPECT_EQ(isReady(each), fits);
      }
      std::shuffle(devices.begin(), devices.end(), random);
      std::for_each_n(devices.begin(), stopped, [](const auto& each) { each->Stop(); });
    }
    return 1;
  });
}

}  // namespace
