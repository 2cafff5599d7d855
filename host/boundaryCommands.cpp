#include <iostream>

#include "document/document.h"
#include "host/commands.h"
#include "host/deviceSession.h"
#include "host/exitCode.h"
#include "host/modemErrors.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

// Commands that open no line go without one.
Options withAnyLine(Options options) {
  if (options.configFile.empty() && options.device.empty() && options.tcp.empty() && !options.simulate) {
    options.device = "/dev/null";
  }
  return options;
}

void require(const Status& status, ExitCode code) {
  if (!status.isOk()) {
    throw Failure(code, explained(status.toString()));
  }
}

}  // namespace

void checkConfiguration(const Options& options) {
  BSONObject document;
  require(loadJSON(options.subject, &document), kConfiguration);
  // A device on a scratch file: what it accepts it saves there.
  const ScratchConfig scratch(serialLine("/dev/null"));
  Options onScratch;
  onScratch.plugin = options.plugin;
  onScratch.configFile = scratch.path();
  DeviceSession session(onScratch, Telling::kNothing);
  if (const Status status = session.device().SetProperty("config.current", document); !status.isOk()) {
    throw Failure(kConfiguration, options.subject + ": " + status.toString());
  }
  std::cout << options.subject << ": " << program::green(std::cout, "accepted") << std::endl;
  const std::string mode = document.getString("config.mode", "");
  if (mode != "com" && mode != "ip") {
    std::cout << program::yellow(std::cout, "but mode \"" + mode + "\" cannot be opened; it is \"com\" or \"ip\"")
              << std::endl;
  }
}

void getProperty(const Options& options) {
  DeviceSession session(withAnyLine(options), Telling::kNothing);
  BSONObject document;
  require(session.device().GetProperty(options.subject, &document), kUsage);
  std::cout << document.toJSON() << std::endl;
}

void setProperty(const Options& options) {
  BSONObject document;
  require(loadJSON(options.document, &document), kConfiguration);
  if (options.configFile.empty()) {
    throw Failure(kUsage, "what is set must last: name the device's configuration with --config FILE");
  }
  DeviceSession session(options, Telling::kNothing);
  const Status status = session.device().SetProperty(options.subject, document);
  require(status, status.code() == Status::kInvalidArgument ? kUsage : kConfiguration);
}

void sendControlCode(const Options& options) {
  BSONBuilder input;
  if (!options.document.empty()) {
    require(input.fromJSON(options.document.c_str()), kUsage);
  }
  const BSONObject params = input.getObject(false);
  DeviceSession session(options, options.json ? Telling::kNothing : Telling::kText);
  session.startReady();
  BSONObject answer;
  const Status status =
      session.device().IoControl(options.subject, options.document.empty() ? nullptr : &params, &answer);
  if (!answer.isEmpty()) {
    std::cout << answer.toJSON() << std::endl;
  }
  const bool isInputWrong = status.code() == Status::kInvalidArgument || status.code() == Status::kInvalidPointer ||
                            status.toString().rfind("Failed: Parameter ", 0) == 0;
  require(status, isInputWrong ? kUsage : kModem);
}

}  // namespace orvix::host
