// The command "monitor": reports and events as they come, over absences of the modem too.

#include <algorithm>
#include <chrono>
#include <iostream>
#include <string>

#include "common/printable.h"
#include "host/commands.h"
#include "host/deviceSession.h"
#include "host/output.h"
#include "host/reportView.h"
#include "hostkit/statusText.h"
#include "program/stopSignals.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

constexpr double kShortestPauseAfterFailure = 1;  // seconds: a dead line fails at once

class Monitor {
 public:
  Monitor(const CommonOptions& common, bool onlyChanges)
      : isJson(common.json),
        changesOnly(onlyChanges),
        session(common, isJson ? EventOutput::kJson : EventOutput::kText) {
    if (!isJson) {
      std::cout << "GSM modem on " << shown(session.device().line()) << ", * marks a change, Ctrl-C ends" << std::endl;
    }
  }

  // Shows the next report, or why there is none.
  void showNext() {
    const hostkit::Answer report = session.report();
    const bool isChanged = session.takeChanged();
    if (!report.status.isOk()) {
      showFailure(report.status);
      return;
    }
    // The first report after a failure is news in itself.
    if (isChanged || !changesOnly || !failure.empty()) {
      show(report.document, isChanged);
    }
    failure.clear();
  }

  // Why the last report failed; "" when it did not.
  const std::string& lastFailure() const { return failure; }

 private:
  void show(const BSONObject& report, bool isChanged) const {
    if (isJson) {
      printJsonEvent("report", {{"changed", isChanged}, {"document", jsonOf(report)}});
    } else {
      std::cout << program::dim(std::cout, program::timeOfDay()) << (isChanged ? " * " : "   ") << shownSignal(report)
                << "  " << shownRegistration(report) << std::endl;
    }
  }

  void showFailure(const Status& status) {
    const Failure cause = session.explain(status);
    // No wait helps against these.
    if (cause.exitCode() == kConfiguration || hostkit::kindOf(status) == hostkit::StatusKind::kRefusedSettings) {
      throw Failure(cause);
    }
    // A line that stays dead is told once, with --changes.
    const bool isNews = failure != cause.what();
    failure = cause.what();
    if (!isNews && changesOnly) {
      return;
    }
    if (isJson) {
      printJsonEvent("error", {{"text", failure}});
    } else {
      std::cout << program::dim(std::cout, program::timeOfDay()) << "  " << program::red(std::cout, shown(failure))
                << std::endl;
    }
  }

  bool isJson;
  bool changesOnly;
  DeviceSession session;
  std::string failure;
};

}  // namespace

void monitorModem(const CommonOptions& common, const MonitorOptions& options) {
  using namespace std::chrono;
  Monitor monitor(common, options.changesOnly);
  for (int number = 1;; ++number) {
    const auto begin = steady_clock::now();
    monitor.showNext();
    if (number == options.count || !std::cout) {
      break;
    }
    // From beginning to beginning, so that reports keep their pace whatever they take.
    double pause = options.intervalSeconds - duration<double>(steady_clock::now() - begin).count();
    if (!monitor.lastFailure().empty()) {
      pause = std::max(pause, kShortestPauseAfterFailure);
    }
    if (!program::sleepUnlessStopped(pause)) {
      break;
    }
  }
  if (!monitor.lastFailure().empty() && !program::isStopWished()) {
    // Only when it ended by itself: a person who stops it has seen the failure.
    throw Failure(kModem, "the last report failed: " + monitor.lastFailure());
  }
}

}  // namespace orvix::host
