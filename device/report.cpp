// GetDataReport: from the state to a report, and whether it is news to the host.

#include <algorithm>
#include <iterator>
#include <new>

#include "device/atReply.h"
#include "device/gsmDevice.h"
#include "document/compare.h"
#include "plugin/names.h"

namespace orvix::gsm {
namespace {

// Said outside the last report, because it is asked for when that is gone.
bool isLastReportGone = false;

struct LastReport {
  BSONObject document;
  ~LastReport() { isLastReportGone = true; }
};

// Hosts rely on it: all devices of the process share the last report, from its first use until the module goes.
BSONObject& lastReport() {
  static LastReport last;
  return last.document;
}

// Without the time, which always differs, and the dBm, which follow the percent.
bool differ(const BSONObject& a, const BSONObject& b) {
  static constexpr const char* kPaths[] = {names::kSignalPercent, names::kSignalValid, names::kRegistrationStatus,
                                           names::kRegistrationValid};
  return std::any_of(std::begin(kPaths), std::end(kPaths),
                     [&](const std::string& path) { return compareValues(a.get(path), b.get(path)) != 0; });
}

}  // namespace

Status GsmDevice::GetDataReport(IDeviceDataReport** ppReport) {
  switch (state) {
    case DeviceState::kNone:
    case DeviceState::kCreated:
    case DeviceState::kReset:
      return Status::failed("SetConfig first, current state ", statusName(statusOf(state)).c_str());
    case DeviceState::kWithConfig:
      return connectAndReport(DeviceState::kNotAvailable, ppReport);
    case DeviceState::kConnect:
      return makeReport(DeviceState::kConnect, ppReport);
    case DeviceState::kInitializing:
    case DeviceState::kReady:
      return makeReport(DeviceState::kReady, ppReport);
    case DeviceState::kInitFailed:
    case DeviceState::kError:
      closeConnection();
      return connectAndReport(DeviceState::kError, ppReport);
    case DeviceState::kNotAvailable:
      closeConnection();
      return connectAndReport(DeviceState::kNotAvailable, ppReport);
  }
  // Hosts rely on the code, which is another than Start's.
  return Status::unexpected("Command not accepted in current state", statusName(statusOf(state)).c_str());
}

Status GsmDevice::connectAndReport(DeviceState onFailure, IDeviceDataReport** ppReport) {
  if (Status probed = probeModem(); !probed.isOk()) {
    OnStateChanged(onFailure);
    return probed;
  }
  return makeReport(DeviceState::kConnect, ppReport);
}

Status GsmDevice::makeReport(DeviceState target, IDeviceDataReport** ppReport) {
  if (ppReport == nullptr) {
    OnStateChanged(target);
    return Status::invalidPointer("ppReport");
  }
  std::string csq;
  std::string cregStat;
  Status measured = getSignalQuality(&csq);
  if (measured.isOk()) {
    measured = getNetworkRegistrationStatus(&cregStat);
  }
  if (!measured.isOk()) {
    OnStateChanged(DeviceState::kNotAvailable);
    return measured;
  }
  // Owned by the caller, who deletes it. Without memory for it a host gets a status, not an exception.
  auto* const report = new (std::nothrow) GsmDataReport({numberOf(csq), numberOf(cregStat)});
  if (report == nullptr) {
    OnStateChanged(DeviceState::kNotAvailable);
    return Status::outOfMemory("failed to create GsmDataReport");
  }
  // Before the sink is told: whoever hears of it may look for the report that he asked for.
  *ppReport = report;
  OnStateChanged(DeviceState::kReady);
  if (reportChanged(report)) {
    eventSink->OnDataReport(this, report);  // Hosts set their sink before they ask for a report.
  }
  return {};
}

bool GsmDevice::reportChanged(IDeviceDataReport* report) {
  if (isLastReportGone) {
    return true;  // A host's own globals, which end after it, may still ask while the process ends.
  }
  BSONObject document;
  report->GetDocument(&document);
  BSONObject& last = lastReport();
  if (!last.isEmpty() && !differ(last, document)) {
    return false;
  }
  last = document;
  return true;
}

}  // namespace orvix::gsm
