// A device on a scripted modem, configured from a file. One thread.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "device/gsmDevice.h"
#include "logging/logging.h"
#include "tests/world/host.h"
#include "tests/world/scriptedModem.h"

namespace world {

// The line is reached through a link in the folder, so that a new modem can take a dead one's place.
class ModemDevice : public testing::Test {
 protected:
  ModemDevice() {
    orvix::installDebugBridge();
    device.SetEventSink(&sink);
    connect(healthyModem());
    VirtualClock::instance().sleepsMs.clear();
  }

  // Puts a modem on the line.
  void connect(std::vector<Exchange> script) {
    modem.reset();
    modem = std::make_unique<ScriptedModem>(std::move(script));
    std::filesystem::remove(link);
    std::filesystem::create_symlink(modem->line.path(), link);
  }

  // Brings the device to kWithConfig.
  void configure() { configure(configurationText(link + ":9600,n,8,1")); }
  void configure(const std::string& text) {
    const orvix::BSONObject args = fromJson(R"({"cfgfile":")" + folder.write("modem.json", text) + R"("})");
    ASSERT_EQ(device.LoadConfig(args).toString(), "OK");
  }

  // Brings the device to kReady and forgets how.
  void start() {
    configure();
    ASSERT_EQ(device.Start().toString(), "OK");
    ASSERT_EQ(device.GetStatus(), orvix::DeviceStatus::kReady);
    sink.calls.clear();
    modem->received.clear();
    VirtualClock::instance().sleepsMs.clear();
  }

  std::string report() {
    orvix::IDeviceDataReport* raw = nullptr;
    std::string status = device.GetDataReport(&raw).toString();
    lastReport.reset(raw);
    return status;
  }

  TemporaryFolder folder;
  std::string link = folder.file("line");
  std::unique_ptr<ScriptedModem> modem;
  RecordingSink sink;
  orvix::gsm::GsmDevice device;
  std::unique_ptr<orvix::IDeviceDataReport> lastReport;
};

}  // namespace world
