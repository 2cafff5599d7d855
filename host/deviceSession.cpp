#include "host/deviceSession.h"

#include "app/common/document/document.h"
#include "host/exitCode.h"
#include "host/lineCheck.h"

namespace orvix::host {
namespace {

PluginLibrary::Device create(const PluginLibrary& library, const std::string& configFile, ITraceProvider* trace) {
  BSONBuilder args;
  args.appendString("cfgfile", configFile);
  Status status;
  PluginLibrary::Device device = library.createDevice(args.getObject(false), &status, trace);
  if (device == nullptr) {
    throw Failure(kConfiguration, status.toString());
  }
  return device;
}

}  // namespace

DeviceSession::DeviceSession(const Options& options)
    : library(options.plugin), trace(options.trace), modem(create(library, options.configFile, &trace)) {
  modem->SetEventSink(&sink);
}

DeviceSession::~DeviceSession() {
  modem->Stop();
}

void DeviceSession::start() {
  if (const Status started = modem->Start(); !started.isOk()) {
    throw Failure(kLine, explainLine(line()) + " (" + started.toString() + ")");
  }
}

std::string DeviceSession::line() {
  BSONObject config;
  modem->GetProperty("config.current", &config);
  return config.getString("config.comstr", "");
}

}  // namespace orvix::host
