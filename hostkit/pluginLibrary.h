// The loaded plug-in module, and the RegisterDevice that it takes from its host.
//
// Threads: load and unload in any thread; loading is serialised inside. For creating devices see modemDevice.h, which
// also keeps a module loaded as long as one of its devices lives.
#pragma once

#include <memory>
#include <string>

#include "plugin/plugin.h"

namespace orvix::hostkit {

class PluginLibrary {
 public:
  // Loads the module in `file`, resolves all its symbols and lets it register its device type. Throws Error, with the
  // loader's reason, when it cannot be loaded or is no device plug-in. glog must be part of the process: the CMake
  // target of this library links it and exports RegisterDevice.
  explicit PluginLibrary(const std::string& file);

  // The type that the module registered, "GSMModem".
  const std::string& typeName() const { return type.name; }
  // The module's own functions, for hosts that drive the boundary without ModemDevice.
  OrvixCreateDevice creator() const { return type.create; }
  OrvixDestroyDevice destroyer() const { return type.destroy; }

 private:
  struct Type {
    std::string name;
    OrvixCreateDevice create = nullptr;
    OrvixDestroyDevice destroy = nullptr;
  };
  struct Unload {
    void operator()(void* handle) const;
  };

  friend int ::RegisterDevice(const char* typeName, OrvixCreateDevice create, OrvixDestroyDevice destroy);

  // What RegisterDevice was told, for the load that is just going on.
  static Type registered;

  std::unique_ptr<void, Unload> module;
  Type type;
};

}  // namespace orvix::hostkit
