// One started device, driven through the boundary alone. One thread.
#pragma once

#include <string>

#include "host/pluginLibrary.h"
#include "host/sink.h"
#include "host/tracePrinter.h"

namespace orvix::host {

struct Options {
  std::string plugin;      // module file; empty: where it is built or installed
  std::string configFile;  // device configuration
  bool trace = false;      // show the line's traffic
};

// Creates the device and, on request, starts it; both throw Failure. Stops and destroys it at the end.
class DeviceSession {
 public:
  explicit DeviceSession(const Options& options);
  ~DeviceSession();
  DeviceSession(const DeviceSession&) = delete;
  DeviceSession& operator=(const DeviceSession&) = delete;

  IDevice& device() { return *modem; }
  // Opens the line. A modem that stays silent is no failure here: the device's status says so.
  void start();
  // The connection string of the device's configuration.
  std::string line();

 private:
  PluginLibrary library;
  Sink sink;
  TracePrinter trace;
  PluginLibrary::Device modem;
};

}  // namespace orvix::host
