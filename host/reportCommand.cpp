// The command "report": one data report.

#include <iostream>

#include "host/commands.h"
#include "host/deviceSession.h"
#include "host/output.h"
#include "host/progress.h"
#include "host/reportView.h"

namespace orvix::host {

void showReport(const CommonOptions& common) {
  Progress progress(common.isQuiet());
  DeviceSession session(common, EventOutput::kNone, &progress);
  session.startReady();
  const hostkit::Answer report = session.report();
  // Before anything is printed: both may be on one terminal.
  progress.finish();
  if (!report.status.isOk()) {
    const Failure cause = session.explain(report.status);
    throw Failure(cause.exitCode(), std::string("the modem gave no report: ") + cause.what());
  }
  if (common.json) {
    printDocument(report.document);
  } else {
    printReport(std::cout, report.document);
  }
}

}  // namespace orvix::host
