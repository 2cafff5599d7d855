// The built module as a host loads it. One thread.
//
// Programs that link test_module are the host: they provide RegisterDevice, and their nanosleep(2), which the module's
// waits reach, runs on the virtual clock.
#pragma once

#include <dlfcn.h>

#include <string>

#include "plugin/plugin.h"

namespace world {

// Loads and registers the module; unloads it at the end and checks that it is gone.
class LoadedModule {
 public:
  LoadedModule();
  ~LoadedModule();
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  template <typename Pointer>
  Pointer symbol(const char* name) const {
    return reinterpret_cast<Pointer>(dlsym(library, name));
  }

  // What the module has registered.
  std::string typeName;
  OrvixCreateDevice create = nullptr;
  OrvixDestroyDevice destroy = nullptr;

 private:
  void* library;
};

}  // namespace world
