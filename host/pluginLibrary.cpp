#include "host/pluginLibrary.h"

#include <dlfcn.h>

#include <filesystem>

#include "host/exitCode.h"

namespace {

struct DeviceType {
  std::string name;
  OrvixCreateDevice create = nullptr;
  OrvixDestroyDevice destroy = nullptr;
};

// What the plug-in has registered; this program has room for one type.
DeviceType registered;

}  // namespace

int RegisterDevice(const char* typeName, OrvixCreateDevice create, OrvixDestroyDevice destroy) {
  registered = {typeName, create, destroy};
  return 0;
}

namespace orvix::host {
namespace {

constexpr char kModuleName[] = "libgsmmodem.so";

std::string findModule() {
  const std::filesystem::path programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::filesystem::path beside = programs / kModuleName;
  return std::filesystem::exists(beside) ? beside : programs.parent_path() / ORVIX_PLUGIN_DIR / kModuleName;
}

}  // namespace

PluginLibrary::PluginLibrary(const std::string& file) {
  const std::string name = file.empty() ? findModule() : std::filesystem::absolute(file).string();
  library.reset(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (library == nullptr) {
    throw Failure(kInternal, std::string("the plug-in cannot be loaded: ") + dlerror());
  }
  const auto init = reinterpret_cast<decltype(&PluginInit)>(dlsym(library.get(), "PluginInit"));
  if (init == nullptr || init() != 0 || registered.create == nullptr) {
    throw Failure(kInternal, name + " is not a device plug-in");
  }
}

PluginLibrary::Device PluginLibrary::createDevice(const BSONObject& args, Status* status,
                                                  ITraceProvider* traceProvider) const {
  return {registered.create(args, status, traceProvider), registered.destroy};
}

void PluginLibrary::Unload::operator()(void* handle) const {
  registered = {};
  dlclose(handle);
}

}  // namespace orvix::host
