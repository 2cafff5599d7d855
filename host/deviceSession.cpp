#include "host/deviceSession.h"

#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "document/document.h"
#include "host/exitCode.h"
#include "host/lineCheck.h"

namespace orvix::host {
namespace {

std::unique_ptr<ScratchConfig> configFor(const Options& options, const SimulatedModem* simulated) {
  if (simulated != nullptr) {
    return std::make_unique<ScratchConfig>(serialLine(simulated->path()));
  }
  if (!options.tcp.empty()) {
    return std::make_unique<ScratchConfig>(tcpLine(options.tcp));
  }
  if (!options.device.empty()) {
    return std::make_unique<ScratchConfig>(serialLine(options.device));
  }
  if (options.configFile.empty()) {
    throw Failure(kUsage,
                  "which modem? Give --device PATH:115200,n,8,1, --config FILE, --tcp ADDRESS:PORT or --simulate");
  }
  return nullptr;
}

// A file that breaks a rule gives a device with the built-in default. Fine for a gateway, but a person who named a file
// means that file.
void refuseDefault(IDevice* device, const std::string& configFile) {
  BSONObject wanted;
  BSONObject current;
  device->GetProperty("config.current", &current);
  if (loadJSON(configFile, &wanted).isOk() && wanted != current) {
    throw Failure(kConfiguration, configFile + " breaks a rule of the device: gsm-host check " + configFile);
  }
}

// A device reads its configuration once, so a file made for it is gone again when this returns.
PluginLibrary::Device create(const PluginLibrary& library, const Options& options, const SimulatedModem* simulated,
                             ITraceProvider* trace) {
  const std::unique_ptr<ScratchConfig> scratch = configFor(options, simulated);
  // A bare name can be read but not saved.
  const std::string configFile =
      scratch != nullptr ? scratch->path() : std::filesystem::absolute(options.configFile).string();
  BSONBuilder args;
  args.appendString("cfgfile", configFile);
  Status status;
  PluginLibrary::Device device = library.createDevice(args.getObject(false), &status, trace);
  if (device == nullptr) {
    throw Failure(kConfiguration, status.toString());
  }
  refuseDefault(device.get(), configFile);
  return device;
}

[[noreturn]] void explainStart(const Status& status, const std::string& line) {
  const std::string text = status.toString();
  if (text.rfind("Failed: unknown mode", 0) == 0) {
    throw Failure(kConfiguration, text + "; config.mode is \"com\" or \"ip\"");
  }
  if (text == "Failed: XPLBuildDCB") {
    throw Failure(kLine, "the settings of \"" + line + "\" are not accepted (" + text + ")");
  }
  const std::string trouble = lineTrouble(line);
  throw Failure(kLine, (trouble.empty() ? line + " cannot be opened" : trouble) + " (" + text + ")");
}

}  // namespace

DeviceSession::DeviceSession(const Options& options, Telling telling, TrafficListener* listener)
    : simulated(options.simulate ? std::make_unique<SimulatedModem>() : nullptr),
      library(options.plugin),
      sink(telling),
      printer(options.hex),
      modem(create(library, options, simulated.get(), &trace)) {
  modem->SetEventSink(&sink);
  if (options.trace || options.hex) {
    trace.add(&printer);
  }
  if (!options.record.empty()) {
    trace.add(&recorder.emplace(options.record, line()));
  }
  if (listener != nullptr) {
    trace.add(listener);
  }
}

DeviceSession::~DeviceSession() {
  modem->Stop();
  if (recorder && recorder->hasFailed()) {
    std::cerr << "gsm-host: the recording is not complete: the file could not be written" << std::endl;
  }
}

void DeviceSession::start() {
  Status started;
  try {
    started = modem->Start();
  } catch (const std::out_of_range&) {
    throw Failure(kConfiguration, "config.comstr has no \":\" with line settings behind it");
  }
  if (!started.isOk()) {
    explainStart(started, line());
  }
}

void DeviceSession::startReady() {
  start();
  if (modem->GetStatus() != DeviceStatus::kReady) {
    throw Failure(kModem, "no modem answers on " + line() + "; is it powered, is the speed right? Try gsm-host doctor");
  }
}

std::string DeviceSession::line() {
  BSONObject config;
  modem->GetProperty("config.current", &config);
  std::string comstr = config.getString("config.comstr", "");
  const std::size_t colon = comstr.find(':');
  if (std::string(config.getString("config.mode", "")) != "ip" || colon == std::string::npos) {
    return comstr;
  }
  return "/dev/tcp/" + std::string(config.getString("config.ip.address", "")) + "/" +
         std::to_string(config.getInt32("config.ip.port", 0)) + comstr.substr(colon);
}

}  // namespace orvix::host
