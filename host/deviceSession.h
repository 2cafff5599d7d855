// One device, driven through the boundary alone. One thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/options.h"
#include "host/pluginLibrary.h"
#include "host/recorder.h"
#include "host/scratchConfig.h"
#include "host/simulatedModem.h"
#include "host/sink.h"
#include "host/trafficPrinter.h"

namespace orvix::host {

// Creates the device of the options, with a configuration made for it where they name none; throws Failure. Stops and
// destroys it at the end.
class DeviceSession {
 public:
  // `listener` is borrowed, sees the line's traffic and may be null.
  DeviceSession(const Options& options, Telling telling, TrafficListener* listener = nullptr);
  ~DeviceSession();
  DeviceSession(const DeviceSession&) = delete;
  DeviceSession& operator=(const DeviceSession&) = delete;

  IDevice& device() { return *modem; }
  // Whether the device announced a changed report since the last call.
  bool takeChanged() { return sink.takeChanged(); }
  // Opens the line; throws Failure. A modem that stays silent is no failure here: the device's status says so.
  void start();
  // As start, and throws Failure as well when no modem answers.
  void startReady();
  // The connection string that the device opens.
  std::string line();

 private:
  std::unique_ptr<SimulatedModem> simulated;
  PluginLibrary library;
  Sink sink;
  TrafficPrinter printer;
  LineTrace trace;
  PluginLibrary::Device modem;
  std::optional<Recorder> recorder;
};

}  // namespace orvix::host
