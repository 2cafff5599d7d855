// The smallest host: loads the plug-in, makes one device of a configuration file and prints its data report.
// Copy it to begin a host of your own.

#include <dlfcn.h>

#include <iostream>
#include <memory>

#include "document/document.h"
#include "plugin/plugin.h"

namespace {

OrvixCreateDevice createDevice = nullptr;
OrvixDestroyDevice destroyDevice = nullptr;

// A device wants a sink before its first report; this one has nothing to say to events.
class QuietSink : public orvix::IDeviceEventSink {
 public:
  void OnEvent(orvix::IDevice*, const std::string&, const orvix::BSONObject&) override {}
  void OnDataReport(orvix::IDevice*, orvix::IDeviceDataReport*) override {}
  void Reserved() override {}
  void OnStatusChanged(orvix::IDevice*, orvix::DeviceStatus) override {}
};

int fail(const std::string& why) {
  std::cerr << "example-host: " << why << std::endl;
  return 1;
}

int printReport(const std::string& configFile) {
  orvix::BSONBuilder args;
  args.appendString("cfgfile", configFile);
  orvix::Status status;
  const std::unique_ptr<orvix::IDevice, OrvixDestroyDevice> device(
      createDevice(args.getObject(false), &status, nullptr), destroyDevice);
  if (device == nullptr) {
    return fail(status.toString());
  }
  QuietSink sink;
  device->SetEventSink(&sink);
  orvix::IDeviceDataReport* raw = nullptr;
  status = device->GetDataReport(&raw);  // opens the line by itself
  const std::unique_ptr<orvix::IDeviceDataReport> report(raw);
  if (!status.isOk()) {
    return fail(status.toString());
  }
  orvix::BSONObject document;
  report->GetDocument(&document);
  std::cout << document.toJSON() << std::endl;
  return 0;
}

}  // namespace

// Called by the module's PluginInit; exported from this program.
int RegisterDevice(const char*, OrvixCreateDevice create, OrvixDestroyDevice destroy) {
  createDevice = create;
  destroyDevice = destroy;
  return 0;
}

int main(int argc, char** argv) {
  if (argc != 2) {
    return fail("usage: example-host CONFIGURATION");
  }
  void* const module = dlopen(MODULE_FILE, RTLD_NOW);
  if (module == nullptr) {
    return fail(dlerror());
  }
  reinterpret_cast<decltype(&PluginInit)>(dlsym(module, "PluginInit"))();
  const int result = printReport(argv[1]);  // everything of the module's is gone when this returns
  dlclose(module);
  return result;
}
