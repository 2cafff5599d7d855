#include "tests/world/loadedModule.h"

#include <gtest/gtest.h>

#include <ctime>

namespace world {
namespace {

LoadedModule* current = nullptr;

}  // namespace

LoadedModule::LoadedModule() : library(dlopen(ORVIX_MODULE, RTLD_NOW | RTLD_LOCAL)) {
  current = this;
  EXPECT_NE(library, nullptr) << dlerror();
  EXPECT_EQ(symbol<decltype(&PluginInit)>("PluginInit")(), 0);
}

LoadedModule::~LoadedModule() {
  EXPECT_EQ(dlclose(library), 0);
  EXPECT_EQ(dlopen(ORVIX_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the module stays in memory";
}

}  // namespace world

int RegisterDevice(const char* typeName, OrvixCreateDevice create, OrvixDestroyDevice destroy) {
  world::current->typeName = typeName;
  world::current->create = create;
  world::current->destroy = destroy;
  return 1;  // a result that the plug-in ignores
}

extern "C" int __wrap_nanosleep(const timespec* request, timespec* remaining);

extern "C" [[gnu::visibility("default")]] int nanosleep(const timespec* request, timespec* remaining) {
  return __wrap_nanosleep(request, remaining);
}
