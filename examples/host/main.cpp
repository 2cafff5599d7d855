// The smallest host: loads the plug-in, makes one device of a configuration file and prints its data report.
// Copy it to begin a host of your own.

#include <iostream>
#include <memory>

#include "hostkit/error.h"
#include "hostkit/modemDevice.h"

namespace {

int fail(const std::string& why) {
  std::cerr << "example-host: " << why << std::endl;
  return 1;
}

int printReport(const std::string& configFile) {
  const auto library = std::make_shared<const orvix::hostkit::PluginLibrary>(MODULE_FILE);
  orvix::hostkit::ModemDevice device(library, configFile);
  const orvix::hostkit::Answer report = device.report();  // opens the line by itself
  if (!report.status.isOk()) {
    return fail(report.status.toString());
  }
  std::cout << report.document.toJSON() << std::endl;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return fail("usage: example-host CONFIGURATION");
  }
  try {
    return printReport(argv[1]);
  } catch (const orvix::hostkit::Error& error) {
    return fail(error.what());
  }
}
