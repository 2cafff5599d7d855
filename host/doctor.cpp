#include <iostream>
#include <memory>
#include <vector>

#include "document/document.h"
#include "host/commands.h"
#include "host/deviceSession.h"
#include "host/exitCode.h"
#include "host/lineCheck.h"
#include "host/modemErrors.h"
#include "host/reportView.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

// What came back, whether it made sense or not.
class Ear final : public TrafficListener {
 public:
  void onTraffic(XplTraceKind kind, std::string_view bytes) override {
    if (kind == kXplTraceReceived) {
      heard += bytes;
    }
  }
  std::string heard;
};

struct Finding {
  bool isAsConfigured = true;  // not at another speed
  std::string line;
  Status status;      // of a data report: the probe, then both queries
  std::string heard;  // every byte that came back
  BSONObject report;  // when the status is ok
};

void say(const std::string& what, const std::string& result) {
  std::cout << "  " << what << std::string(what.size() < 16 ? 16 - what.size() : 1, ' ') << result << std::endl;
}

Finding ask(const Options& options) {
  Ear ear;
  DeviceSession session(options, Telling::kNothing, &ear);
  Finding finding;
  finding.line = session.line();
  IDeviceDataReport* raw = nullptr;
  finding.status = session.device().GetDataReport(&raw);
  const std::unique_ptr<IDeviceDataReport> report(raw);
  if (report != nullptr) {
    BSONObject document;
    report->GetDocument(&document);
    finding.report = document.copy();  // the module's own document must not outlive the module
  }
  finding.heard = ear.heard;
  return finding;
}

std::string summaryOf(const Finding& finding) {
  if (finding.status.isOk()) {
    return program::green(std::cout, "answers");
  }
  if (finding.heard.empty()) {
    return program::red(std::cout, "silent");
  }
  return program::yellow(std::cout, explained(finding.status.toString())) + ", received " +
         escaped(finding.heard.substr(0, 60));
}

// A modem at a wrong speed shows as silence or noise; whatever contains a result code is at the right one.
bool isAnswer(const Finding& finding) {
  return finding.status.isOk() || finding.heard.find("OK") != std::string::npos ||
         finding.heard.find("ERROR") != std::string::npos;
}

// The options as they are, then the same serial line at the other usual speeds.
std::vector<Options> attemptsFor(const Options& options, const std::string& line) {
  std::vector<Options> attempts{options};
  if (options.tcp.empty() && !options.simulate) {
    for (const char* const speed : {"115200", "9600", "57600", "38400", "19200", "230400"}) {
      Options attempt = options;
      attempt.configFile.clear();
      attempt.record.clear();  // the recording is of the line as configured
      attempt.device = pathOf(line) + ":" + speed + ",n,8,1";
      if (attempt.device != line) {
        attempts.push_back(attempt);
      }
    }
  }
  return attempts;
}

Finding findAnswer(const Options& options, const std::string& line) {
  Finding first;
  bool isFirst = true;
  for (const Options& attempt : attemptsFor(options, line)) {
    Finding finding = ask(attempt);
    finding.isAsConfigured = isFirst;
    say(isFirst ? "as configured" : "", finding.line + "  " + summaryOf(finding));
    if (isAnswer(finding)) {
      return finding;
    }
    if (isFirst || first.heard.empty()) {
      first = finding;
    }
    isFirst = false;
  }
  return first;
}

// The modem's own error, which the status of a report leaves out.
std::string refusalOf(const Finding& finding) {
  const std::size_t error = finding.heard.rfind("ERROR: ");
  if (error == std::string::npos) {
    return explained(finding.status.toString());
  }
  return explained(finding.heard.substr(error, finding.heard.find_first_of("\r\n", error) - error));
}

std::string adviceForSilence(const Finding& finding) {
  if (finding.heard.empty()) {
    return "no byte came back at any speed: check power and cable; a modem with several ports answers on another one";
  }
  return "bytes came back, but no answer: this port is not the modem's command port, or the speed is an unusual one";
}

std::string adviceFor(const Finding& finding) {
  if (!isAnswer(finding)) {
    return adviceForSilence(finding);
  }
  if (!finding.isAsConfigured) {
    return "the modem runs at another speed: use \"" + finding.line + "\"";
  }
  if (!finding.status.isOk()) {
    return "the modem answers but refuses: " + refusalOf(finding) + "; check the SIM card and its PIN";
  }
  const std::string registration = registrationText(finding.report);
  if (!finding.report.getBool("GSMModem.report.signalQuality.valid", false)) {
    return "no usable signal: check the antenna";
  }
  if (registration == "denied") {
    return "the network refuses this SIM card: ask its operator";
  }
  if (registration != "home" && registration != "roaming") {
    return "not registered in a network (yet): wait a minute, then check SIM card and antenna";
  }
  return "";
}

}  // namespace

void examineModem(const Options& options) {
  std::string configured;
  {
    DeviceSession session(options, Telling::kNothing);
    configured = session.line();
    say("line", configured);
    if (const std::string trouble = lineTrouble(configured); !trouble.empty()) {
      say("", program::red(std::cout, "does not open"));
      for (const std::string& other : serialDevices()) {
        say("", "there is " + other);
      }
      throw Failure(kLine, trouble);
    }
    for (const std::string& other : openersOf(configured)) {
      say("", program::yellow(std::cout, "is open in " + other + " as well"));
    }
    say("", program::green(std::cout, "is there, may be opened, and is not locked"));
    session.start();  // a configuration that cannot work is told here
  }
  const Finding finding = findAnswer(options, configured);
  if (finding.status.isOk()) {
    say("signal", signalText(finding.report));
    say("registration", registrationText(finding.report));
  }
  const std::string advice = adviceFor(finding);
  if (!advice.empty()) {
    throw Failure(kModem, advice);
  }
  say("verdict", program::green(std::cout, "the modem is well"));
}

}  // namespace orvix::host
