// One device of the plug-in, with the thread rules of docs/host-guide.md kept inside.
//
// Threads: any thread may call any device at any time. What must not run together waits: calls of one device take
// turns; opening, closing, reports and saves take turns over all devices of the process; a creation waits until no
// other call runs. Messages of several devices go out side by side. A call therefore lasts its own time
// (docs/host-guide.md) and that of the calls before it; status() alone never waits.
//
// A listener runs on the thread of the call that caused it. It may call its own device, but no other one, and may not
// create or destroy one; a TrafficListener may call none. Such a call throws std::logic_error instead of waiting for
// ever.
//
// All documents handed out here are the host's own and may outlive device and module.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "hostkit/pluginLibrary.h"
#include "hostkit/traffic.h"
#include "plugin/device.h"

namespace orvix::hostkit {

// What a device tells of its own accord.
class DeviceListener {
 public:
  // A message went through its dialogue, or failed in it: name "SMS" and the answer document of "sendSMS".
  virtual void onEvent(const std::string& /*name*/, const BSONObject& /*document*/) {}
  // A report differs from the last one of the process.
  virtual void onChangedReport(const BSONObject& /*document*/) {}
  virtual void onStatus(DeviceStatus /*status*/) {}

 protected:
  ~DeviceListener() = default;
};

struct Answer {
  Status status;
  BSONObject document;  // empty where the device gave none
};

class ModemDevice final : private IDeviceEventSink {
 public:
  // Makes the device of a JSON configuration file (docs/host-guide.md). Throws Error when it cannot be made, and when
  // the device does not take the file: it would run on its built-in default, a line that nobody named.
  // `trace` and `eventListener` are borrowed for the device's life and may be null.
  ModemDevice(std::shared_ptr<const PluginLibrary> plugin, const std::string& configFile, LineTrace* trace = nullptr,
              DeviceListener* eventListener = nullptr);
  // Closes the line. No other call may run or wait.
  ~ModemDevice();  // NOLINT(bugprone-exception-escape)
  ModemDevice(const ModemDevice&) = delete;
  ModemDevice& operator=(const ModemDevice&) = delete;

  // Opens the line and probes the modem. OK says that the line is open; status() tells whether the modem answered.
  // A started device stays as it is.
  Status start();
  // Closes the line; always OK.
  Status stop();
  DeviceStatus status() const;
  // Opens the line where it is closed, and measures signal and registration. An answer of the modem that is cut off is
  // a failed report.
  Answer report();
  // Sends one text message; both texts go out as they are. The device must be ready. The status tells how the dialogue
  // ended, not what became of the message: for that judge the traffic (verdict.h). The document is empty when the
  // dialogue was not begun.
  Answer sendSms(const std::string& phone, const std::string& text);

  Answer property(const std::string& name);
  Status setProperty(const std::string& name, const BSONObject& value);
  // `input` may be null where the control code allows it.
  Answer ioControl(const std::string& code, const BSONObject* input);

  // The connection string that the device opens, "PATH:baud,parity,databits,stopbits".
  const std::string& line() const { return connection; }
  // Borrowed until it is replaced; null for none.
  void setListener(DeviceListener* listener);
  // The trace that the device was created with; may be null.
  LineTrace* trace() const { return lineTrace; }
  // Runs `work`, which may call this device, while every other thread's call of it waits.
  void exclusively(const std::function<void()>& work);

 private:
  class Turn;

  void OnEvent(IDevice* device, const std::string& name, const BSONObject& document) override;
  void OnDataReport(IDevice* device, IDeviceDataReport* report) override;
  void Reserved() override {}
  void OnStatusChanged(IDevice* device, DeviceStatus status) override;

  std::shared_ptr<const PluginLibrary> library;
  LineTrace* lineTrace;
  DeviceListener* listener;
  std::string connection;
  mutable std::recursive_mutex ownTurn;
  std::unique_ptr<IDevice, OrvixDestroyDevice> device;
};

}  // namespace orvix::hostkit
