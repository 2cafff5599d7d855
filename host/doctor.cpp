// The command "doctor": line, rights, holders, speed, a waiting prompt, signal, registration; then the likely cause.

#include <iostream>
#include <vector>

#include "common/printable.h"
#include "host/answerText.h"
#include "host/commands.h"
#include "host/deviceSession.h"
#include "host/output.h"
#include "host/reportView.h"
#include "hostkit/connectionString.h"
#include "hostkit/heal.h"
#include "hostkit/lineTrouble.h"
#include "hostkit/modemErrors.h"
#include "hostkit/resultLine.h"
#include "plugin/names.h"
#include "program/stopSignals.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

// What was looked at and what it showed: printed line by line, or kept for one document at the end.
class FindingPrinter {
 public:
  explicit FindingPrinter(bool asJson) : isJson(asJson) {}

  void print(const std::string& what, const std::string& result,
             std::string (*paint)(const std::ostream&, const std::string&) = nullptr) {
    if (isJson) {
      findings.push_back({{"what", what}, {"result", result}});
      return;
    }
    const std::string text = shown(result);
    // Two columns; a longer name is followed by one blank.
    std::cout << "  " << what << std::string(what.size() < 16 ? 16 - what.size() : 1, ' ')
              << (paint != nullptr ? paint(std::cout, text) : text) << std::endl;
  }

  Json document() const { return {{"findings", findings}}; }
  bool isForJson() const { return isJson; }

 private:
  bool isJson;
  Json findings = Json::array();
};

struct Finding {
  std::string line;
  Status status;      // of a data report: the probe, then both queries
  std::string heard;  // every byte that came back
  BSONObject report;  // when the status is ok

  // A modem at a wrong speed shows as silence or noise; whatever holds a final result is at the right one.
  bool isAnswer() const { return status.isOk() || hostkit::holdsFinalResult(heard); }
};

Finding ask(DeviceSession* session) {
  const hostkit::Answer report = session->report();
  return {session->device().line(), report.status, hostkit::bytesOf(session->lastTraffic(), kXplTraceReceived),
          report.document};
}

void printFinding(const std::string& what, const Finding& finding, FindingPrinter* printer) {
  if (finding.status.isOk()) {
    printer->print(what, finding.line + "  answers", program::green);
  } else if (finding.heard.empty()) {
    printer->print(what, finding.line + "  silent", program::red);
  } else {
    printer->print(what,
                   finding.line + "  " + hostkit::explained(finding.status.toString()) + ", received " +
                       escaped(finding.heard.substr(0, kShownBytes)),
                   program::yellow);
  }
}

void examineLine(DeviceSession* session, FindingPrinter* printer) {
  const std::string& line = session->device().line();
  printer->print("line", line);
  if (const std::string trouble = hostkit::lineTrouble(line); !trouble.empty()) {
    printer->print("", "does not open", program::red);
    for (const std::string& other : hostkit::serialDevices()) {
      printer->print("", "there is " + other);
    }
    throw Failure(kLine, trouble);
  }
  // No fault by itself: a program that only listens may be meant. Told, since answers may go to it.
  for (const std::string& other : hostkit::openersOf(line)) {
    const std::string advice = hostkit::openerAdvice(other);
    printer->print("", "is open in " + other + " as well" + (advice.empty() ? "" : "; " + advice), program::yellow);
  }
  printer->print("", "is there, may be opened, and is not locked", program::green);
  session->start();  // a configuration that cannot work is told here
  if (const std::string trouble = hostkit::speedTrouble(line); !trouble.empty()) {
    throw Failure(kLine, trouble);
  }
}

// A person at a terminal is asked; a script that did not say --no-heal is taken to agree.
bool mayHeal(const DoctorOptions& options, const FindingPrinter& printer) {
  if (options.noHeal) {
    return false;
  }
  // Without a terminal there is no one to answer the question.
  if (printer.isForJson() || !program::isTerminal(std::cout) || !program::isTerminal(std::cerr)) {
    return true;
  }
  std::cout << "  The modem may be waiting for the text of a message. Drop it with an Escape? [Y/n] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer.empty() || answer[0] == 'y' || answer[0] == 'Y';
}

// Two probes without a final result: an Escape shows whether the modem was waiting at its prompt. True when it was.
bool healPrompt(DeviceSession* session, const DoctorOptions& options, FindingPrinter* printer) {
  if (!mayHeal(options, *printer)) {
    printer->print("prompt", "the modem may be waiting for a text: left alone", program::yellow);
    return false;
  }
  if (!hostkit::heal(&session->device()).isOk()) {
    printer->print("prompt", "an Escape brought no answer");
    return false;
  }
  printer->print("prompt", "the modem was waiting for the text of a message; an Escape brought it back",
                 program::yellow);
  return true;
}

// The same serial line at the other usual speeds.
std::vector<CommonOptions> otherSpeeds(const CommonOptions& common, const std::string& line) {
  std::vector<CommonOptions> attempts;
  const bool isSerial = common.line.tcp.empty() && !common.line.simulate && line.rfind(names::kNetworkFolder, 0) != 0;
  // The usual ones, the likeliest first: modules come with 115200 or 9600.
  for (const char* const speed : {"115200", "9600", "57600", "38400", "19200", "230400"}) {
    CommonOptions attempt = common;
    // A configuration names its own speed: the tries go by the path alone.
    attempt.line.configFile.clear();
    attempt.record.clear();  // the recording is of the line as configured
    attempt.line.device = hostkit::pathOf(line) + ":" + speed + ",n,8,1";
    if (isSerial && attempt.line.device != line) {
      attempts.push_back(attempt);
    }
  }
  return attempts;
}

// Searches for an answer at other speeds; throws Failure with the result of the search.
[[noreturn]] void searchSpeeds(const CommonOptions& common, const Finding& first, FindingPrinter* printer) {
  bool wasSilent = first.heard.empty();
  for (const CommonOptions& attempt : otherSpeeds(common, first.line)) {
    if (program::isStopWished()) {
      throw Failure(kModem, "stopped before all speeds were tried");
    }
    // A session each: a device reads its configuration once.
    DeviceSession session(attempt);
    const Finding finding = ask(&session);
    printFinding("", finding, printer);
    if (finding.isAnswer()) {
      throw Failure(kModem, "the modem runs at another speed: use \"" + finding.line + "\"");
    }
    wasSilent = wasSilent && finding.heard.empty();
  }
  throw Failure(kModem, wasSilent ? "no byte came back at any speed: check power and cable; a modem with several ports "
                                    "answers on another one"
                                  : "bytes came back, but no answer: this port is not the modem's command port, or the "
                                    "speed is an unusual one");
}

// What is wrong with a modem that answers; "" when it is well.
std::string adviceFor(const Finding& finding, const std::vector<hostkit::TrafficPiece>& traffic) {
  if (!finding.status.isOk()) {
    return answerText(finding.line, traffic) + "; check the SIM card and its PIN";
  }
  // The antenna before the network: without a signal there is no registration.
  if (!hasSignal(finding.report)) {
    return "no usable signal: check the antenna";
  }
  if (shownRegistration(finding.report) == "denied") {
    return "the network refuses this SIM card: ask its operator";
  }
  return isRegistered(finding.report)
             ? ""
             : "not registered in a network (yet): wait a minute, then check SIM card and antenna";
}

void examine(const CommonOptions& common, const DoctorOptions& options, FindingPrinter* printer) {
  Finding finding;
  std::string advice;
  {
    // Ends before other speeds are tried: it holds the line.
    DeviceSession session(common);
    examineLine(&session, printer);
    finding = ask(&session);
    printFinding("as configured", finding, printer);
    if (!finding.isAnswer() && !program::isStopWished()) {
      finding = ask(&session);  // what a first command ran into need not be lasting
      if (!finding.isAnswer() && healPrompt(&session, options, printer)) {
        finding = ask(&session);
      }
    }
    advice = adviceFor(finding, session.lastTraffic());
  }
  if (!finding.isAnswer()) {
    searchSpeeds(common, finding, printer);
  }
  if (finding.status.isOk()) {
    printer->print("signal", shownSignal(finding.report));
    printer->print("registration", shownRegistration(finding.report));
  }
  if (!advice.empty()) {
    throw Failure(kModem, advice);
  }
  printer->print("verdict", "the modem is well", program::green);
}

}  // namespace

void examineModem(const CommonOptions& common, const DoctorOptions& options) {
  FindingPrinter printer(common.json);
  try {
    examine(common, options, &printer);
  } catch (const Failure& failure) {
    throw Failure(failure.exitCode(), failure.what(), printer.document());
  }
  if (common.json) {
    printJson(printer.document());
  }
}

}  // namespace orvix::host
