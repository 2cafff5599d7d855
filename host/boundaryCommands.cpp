// The commands that show the plug-in's boundary as it is: check, get, set, control.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "common/printable.h"
#include "document/document.h"
#include "host/commands.h"
#include "host/deviceSession.h"
#include "host/output.h"
#include "hostkit/configCheck.h"
#include "hostkit/modemErrors.h"
#include "hostkit/scratchConfig.h"
#include "hostkit/statusText.h"
#include "plugin/names.h"
#include "program/complaint.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

// Commands that open no line go without one.
CommonOptions withAnyLine(CommonOptions options) {
  if (!options.line.isGiven()) {
    options.line.device = "/dev/null";
  }
  return options;
}

void require(const Status& status, ExitCode code) {
  if (!status.isOk()) {
    throw Failure(code, hostkit::explained(status.toString()));
  }
}

// The device replaces its file by a new one, in the place of a link too. Somebody who asks for a change of its content
// wants file, owner and mode to stay.
class KeptFile {
 public:
  explicit KeptFile(const std::string& name) : target(std::filesystem::weakly_canonical(name)) {
    isKnown = stat(target.c_str(), &before) == 0;
  }

  // Where a link leads to.
  const std::string& path() const { return target; }

  void restore() const {
    if (isKnown && (chown(target.c_str(), before.st_uid, before.st_gid) != 0 ||
                    chmod(target.c_str(), before.st_mode & 07777) != 0)) {
      program::complain("gsm-host", target + " is written, but its owner or mode could not be kept");
    }
  }

 private:
  std::string target;
  struct stat before {};
  bool isKnown;
};

// The key stands in the document as well, so that an editor can jump to it.
void refuse(const std::string& file, const std::string& key, const std::string& text) {
  throw Failure(kConfiguration, file + ": " + text, {{"file", file}, {"key", key.empty() ? Json() : Json(key)}});
}

}  // namespace

void checkConfiguration(const CommonOptions& common, const std::string& file) {
  BSONObject document;
  require(loadJSON(file, &document), kConfiguration);
  endInOrderOnSignals();
  // A device on a scratch file: what it accepts it saves there.
  const hostkit::ScratchConfig scratch(hostkit::serialLine("/dev/null"));
  CommonOptions onScratch;
  onScratch.plugin = common.plugin;
  onScratch.line.configFile = scratch.path();
  DeviceSession session(onScratch);
  if (const Status status = session.device().setProperty(names::kCurrentConfiguration, document); !status.isOk()) {
    refuse(file, hostkit::parameterIn(status), status.toString());
  }
  // The device takes what it would not be able to open: a second look at what can work.
  if (const hostkit::ConfigProblem problem = hostkit::configProblem(document); problem.isThere()) {
    refuse(file, problem.key, problem.key + ": " + problem.text);
  }
  if (common.json) {
    printJson({{"file", file}, {"accepted", true}});
  } else {
    std::cout << shown(file) << ": " << program::green(std::cout, "accepted") << std::endl;
  }
}

void getProperty(const CommonOptions& common, const PropertyOptions& options) {
  DeviceSession session(withAnyLine(common));
  const hostkit::Answer property = session.device().property(options.name);
  require(property.status, kUsage);
  printDocument(property.document);
}

void setProperty(const CommonOptions& common, const PropertyOptions& options) {
  BSONObject document;
  require(loadJSON(options.file, &document), kConfiguration);
  // Of a scratch file nothing would be left.
  if (common.line.configFile.empty()) {
    throw Failure(kUsage, "what is set must last: name the device's configuration with --config FILE");
  }
  const KeptFile file(common.line.configFile);
  CommonOptions onFile = common;
  onFile.line.configFile = file.path();
  DeviceSession session(onFile);
  const Status status = session.device().setProperty(options.name, document);
  // An unknown name is wrong usage, a document that the device refuses a wrong configuration.
  require(status, status.code() == Status::kInvalidArgument ? kUsage : kConfiguration);
  // After the save, which has put a new file in the old one's place.
  file.restore();
  if (common.json) {
    printJson({{"property", options.name}, {"accepted", true}});
  }
}

void sendControlCode(const CommonOptions& common, const ControlOptions& options) {
  BSONBuilder input;
  if (!options.input.empty()) {
    require(input.fromJSON(options.input.c_str()), kUsage);
  }
  const BSONObject params = input.getObject(false);
  // Events go to standard output too: beside JSON they would be in the way of the answer.
  DeviceSession session(common, common.json ? EventOutput::kNone : EventOutput::kText);
  session.startReady();
  const hostkit::Answer answer = session.device().ioControl(options.code, options.input.empty() ? nullptr : &params);
  if (!answer.document.isEmpty()) {
    printDocument(answer.document);
  }
  require(answer.status, hostkit::kindOf(answer.status) == hostkit::StatusKind::kBadInput ? kUsage : kModem);
}

}  // namespace orvix::host
