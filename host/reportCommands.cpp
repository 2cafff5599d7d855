#include <chrono>
#include <iostream>
#include <memory>

#include "document/document.h"
#include "host/commands.h"
#include "host/deviceSession.h"
#include "host/exitCode.h"
#include "host/modemErrors.h"
#include "host/progress.h"
#include "host/reportView.h"
#include "program/stopSignals.h"
#include "program/terminal.h"

namespace orvix::host {
namespace {

Status takeReport(IDevice* device, BSONObject* document) {
  IDeviceDataReport* raw = nullptr;
  Status status = device->GetDataReport(&raw);
  const std::unique_ptr<IDeviceDataReport> report(raw);
  if (status.isOk()) {
    report->GetDocument(document);
  }
  return status;
}

// One report of a monitor's run; false when the modem gave none.
bool showNext(DeviceSession* session, bool asJson) {
  BSONObject document;
  const Status status = takeReport(&session->device(), &document);
  const bool isChanged = session->takeChanged();
  if (!status.isOk()) {
    if (asJson) {
      printJsonLine("error", R"("text": )" + program::jsonString(status.toString()));
    } else {
      std::cout << program::dim(std::cout, program::timeOfDay()) << "  " << program::red(std::cout, status.toString())
                << std::endl;
    }
  } else if (asJson) {
    printJsonLine("report", R"("changed": )" + std::string(isChanged ? "true" : "false") + R"(, "document": )" +
                                document.toJSON());
  } else {
    std::cout << program::dim(std::cout, program::timeOfDay()) << (isChanged ? " * " : "   ") << signalText(document)
              << "  " << registrationText(document) << std::endl;
  }
  return status.isOk();
}

}  // namespace

void showReport(const Options& options) {
  const bool isQuiet = !options.trace && !options.hex && options.verbosity == 0;
  Progress progress(isQuiet);
  DeviceSession session(options, Telling::kNothing, &progress);
  session.startReady();
  BSONObject document;
  const Status status = takeReport(&session.device(), &document);
  progress.finish();
  if (!status.isOk()) {
    throw Failure(kModem, "the modem gave no report: " + explained(status.toString()));
  }
  if (options.json) {
    std::cout << document.toJSON() << std::endl;
  } else {
    printReport(std::cout, document);
  }
}

void monitorModem(const Options& options) {
  using namespace std::chrono;
  program::catchStopSignals();
  DeviceSession session(options, options.json ? Telling::kJsonLines : Telling::kText);
  if (!options.json) {
    std::cout << "GSM modem on " << session.line() << ", * marks a change, Ctrl-C ends" << std::endl;
  }
  session.start();
  bool isAnswered = true;
  for (unsigned number = 1; !program::isStopWished(); ++number) {
    const auto begin = steady_clock::now();
    isAnswered = showNext(&session, options.json);
    if (number == options.count || !std::cout) {
      break;
    }
    program::sleepUnlessStopped(options.intervalSeconds - duration<double>(steady_clock::now() - begin).count());
  }
  if (!isAnswered && !program::isStopWished()) {
    throw Failure(kModem, "the modem did not answer the last time; try gsm-host doctor");
  }
}

}  // namespace orvix::host
