#include "hostkit/pluginLibrary.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>
#include <utility>

#include "hostkit/error.h"

namespace orvix::hostkit {

// What the module that is being loaded has registered.
PluginLibrary::Type PluginLibrary::registered;

PluginLibrary::PluginLibrary(const std::string& file) {
  // RegisterDevice has no context of ours, so one module at a time can be loaded.
  static std::mutex loading;
  const std::lock_guard<std::mutex> guard(loading);
  // A bare name would be searched for in the system's library folders.
  const std::string path = std::filesystem::absolute(file).string();
  // At once, so that a symbol that this host lacks is told here and not in the middle of a call.
  module.reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (module == nullptr) {
    throw Error(std::string("the plug-in cannot be loaded: ") + dlerror());
  }
  registered = {};
  const auto init = reinterpret_cast<decltype(&PluginInit)>(dlsym(module.get(), "PluginInit"));
  // A module that registers nothing is no plug-in, whatever it returned.
  if (init == nullptr || init() != 0 || registered.create == nullptr || registered.destroy == nullptr) {
    throw Error(path + " is not a device plug-in");
  }
  type = std::exchange(registered, {});
}

void PluginLibrary::Unload::operator()(void* handle) const {
  dlclose(handle);
}

}  // namespace orvix::hostkit

// Called by the module from inside its PluginInit, with C linkage.
int RegisterDevice(const char* typeName, OrvixCreateDevice create, OrvixDestroyDevice destroy) {
  orvix::hostkit::PluginLibrary::registered = {typeName, create, destroy};
  return 0;
}
