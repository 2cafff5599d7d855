#include "host/deviceSession.h"

#include <algorithm>
#include <filesystem>

#include "common/printable.h"
#include "host/answerText.h"
#include "hostkit/connectionString.h"
#include "hostkit/error.h"
#include "hostkit/lineTrouble.h"
#include "hostkit/modemErrors.h"
#include "hostkit/scratchConfig.h"
#include "hostkit/statusText.h"
#include "program/complaint.h"
#include "program/stopSignals.h"

namespace orvix::host {
namespace {

namespace fs = std::filesystem;

constexpr char kModuleName[] = "libgsmmodem.so";

std::string moduleOf(const CommonOptions& options) {
  if (!options.plugin.empty()) {
    return options.plugin;
  }
  // The folder of a build has both side by side; installed, the plug-in is below the library folder.
  const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
  const fs::path beside = programs / kModuleName;
  return fs::exists(beside) ? beside : programs.parent_path() / ORVIX_PLUGIN_DIR / kModuleName;
}

// A failing step of hostkit as a failure of this program.
template <typename Step>
auto orFail(ExitCode code, Step&& step) {
  try {
    return step();
  } catch (const hostkit::Error& error) {
    throw Failure(code, error.what());
  }
}

hostkit::LineChoice lineOf(const LineOptions& options, const SimulatedModem* simulated) {
  if (simulated != nullptr) {
    return hostkit::serialLine(simulated->path());
  }
  return options.tcp.empty() ? hostkit::serialLine(options.device) : hostkit::tcpLine(options.tcp);
}

// A device reads its configuration once, so a file made for it is gone again when this returns.
std::unique_ptr<hostkit::ModemDevice> create(const CommonOptions& options, const SimulatedModem* simulated,
                                             hostkit::LineTrace* trace, hostkit::DeviceListener* listener) {
  const auto library =
      orFail(kInternal, [&] { return std::make_shared<const hostkit::PluginLibrary>(moduleOf(options)); });
  const auto device = [&](const std::string& file) {
    return std::make_unique<hostkit::ModemDevice>(library, file, trace, listener);
  };
  if (!options.line.isGiven()) {
    throw Failure(kUsage,
                  "which modem? Give --device PATH:115200,n,8,1, --config FILE, --tcp ADDRESS:PORT or --simulate");
  }
  // Its refusal is about the file, so the exit code is another one, and another command tells more.
  if (!options.line.configFile.empty()) {
    try {
      return device(options.line.configFile);
    } catch (const hostkit::Error& error) {
      throw Failure(kConfiguration,
                    std::string(error.what()) + "; gsm-host check " + options.line.configFile + " tells more");
    }
  }
  const hostkit::LineChoice line = orFail(kUsage, [&] { return lineOf(options.line, simulated); });
  return orFail(kInternal, [&] {
    const hostkit::ScratchConfig scratch(line);
    return device(scratch.path());
  });
}

// The settings begin at the first colon, so a path with one cannot be named. Links by-path hold some, links by-id none.
std::string colonAdvice(const std::string& line) {
  const bool hasMore = std::count(line.begin(), line.end(), ':') > 1;
  return hasMore ? "; a path that holds a colon cannot be used: name the line by its link in /dev/serial/by-id" : "";
}

}  // namespace

void endInOrderOnSignals() {
  if (program::stopDescriptor() == -1) {
    program::catchStopSignals();
  }
}

DeviceSession::DeviceSession(const CommonOptions& options, EventOutput events, hostkit::TrafficListener* listener)
    : printer(events), trafficPrinter(options.hex) {
  endInOrderOnSignals();
  if (options.line.simulate) {
    simulated = std::make_unique<SimulatedModem>();
  }
  // The order decides who hears of what: whatever is to see the first open must be added before start().
  modem = create(options, simulated.get(), &trace, &printer);
  trace.add(&traffic);
  if (options.trace || options.hex) {
    trace.add(&trafficPrinter);
  }
  if (!options.record.empty()) {
    // A recording is evidence: it is not replaced unless somebody says so.
    const auto ifThere = options.force ? hostkit::Recorder::kReplace : hostkit::Recorder::kRefuse;
    orFail(kInternal, [&] { trace.add(&recorder.emplace(options.record, modem->line(), ifThere)); });
  }
  if (listener != nullptr) {
    trace.add(listener);
  }
}

// Stopped while whoever listens is still there.
DeviceSession::~DeviceSession() {
  modem->stop();
  if (recorder && recorder->hasFailed()) {
    program::complain("gsm-host", "the recording is not complete: the file could not be written");
  }
}

void DeviceSession::start() {
  traffic.pieces.clear();
  if (const Status started = modem->start(); !started.isOk()) {
    throw explain(started);
  }
}

void DeviceSession::startReady() {
  start();
  if (modem->status() != DeviceStatus::kReady) {
    throw Failure(kModem, answerText(modem->line(), traffic.pieces));
  }
}

hostkit::Answer DeviceSession::report() {
  traffic.pieces.clear();
  return modem->report();
}

hostkit::Answer DeviceSession::sendSms(const std::string& phone, const std::string& text) {
  traffic.pieces.clear();
  return modem->sendSms(phone, text);
}

Failure DeviceSession::explain(const Status& status) {
  const std::string text = hostkit::explained(status.toString());
  const std::string& line = modem->line();
  switch (hostkit::kindOf(status)) {
    case hostkit::StatusKind::kUnknownMode:
      return {kConfiguration, text + "; config.mode is \"com\" or \"ip\""};
    case hostkit::StatusKind::kNoSettings:
      return {kConfiguration, text};
    case hostkit::StatusKind::kRefusedSettings:
      return {kLine, "the settings of \"" + line + "\" are not accepted (" + text + ")" + colonAdvice(line)};
    case hostkit::StatusKind::kLineNotOpened: {
      // Asked only now, since the answer may have changed since the start; "" when the line opens by now.
      const std::string trouble = hostkit::lineTrouble(line);
      return {kLine, (trouble.empty() ? line + " cannot be opened" : trouble) + " (" + text + ")"};
    }
    case hostkit::StatusKind::kNotWritten:
    case hostkit::StatusKind::kNoReply:
    case hostkit::StatusKind::kOtherReply:
    case hostkit::StatusKind::kModemError:
      return {kModem, answerText(line, traffic.pieces)};
    default:
      return {kModem, text};
  }
}

}  // namespace orvix::host
