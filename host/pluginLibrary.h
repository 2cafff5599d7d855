// The loaded plug-in. One thread.
#pragma once

#include <memory>
#include <string>

#include "plugin/plugin.h"

namespace orvix::host {

// Loads a module, lets it register its device type, and unloads it again. Everything that came out of it must be gone
// by then. Throws Failure when the module cannot be loaded.
class PluginLibrary {
 public:
  // An empty file name looks beside this program and in the folder where plug-ins are installed.
  explicit PluginLibrary(const std::string& file);

  using Device = std::unique_ptr<IDevice, OrvixDestroyDevice>;
  // Null on failure; `status` tells why. `traceProvider` is borrowed for the device's life and may be null.
  Device createDevice(const BSONObject& args, Status* status, ITraceProvider* traceProvider) const;

 private:
  struct Unload {
    void operator()(void* handle) const;
  };

  std::unique_ptr<void, Unload> library;
};

}  // namespace orvix::host
