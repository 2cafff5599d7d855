// One device for one run of the program, and all that watches it: events, traffic, recording. One thread; a listener is
// called on it, inside the calls.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/eventPrinter.h"
#include "host/exitCode.h"
#include "host/options.h"
#include "host/simulatedModem.h"
#include "host/trafficPrinter.h"
#include "hostkit/modemDevice.h"
#include "hostkit/recorder.h"

namespace orvix::host {

// From now on SIGINT, SIGTERM and SIGHUP are wishes to stop (program/stopSignals.h), so that lines are restored and
// scratch files removed on every way out. To be called when nothing waits for a person's input any more.
void endInOrderOnSignals();

// Creates the device of the options, with a configuration made for it where they name none; throws Failure. Stops and
// destroys it at the end. Calls endInOrderOnSignals.
class DeviceSession {
 public:
  // `listener` is borrowed, sees the line's traffic and may be null.
  // kInternal without a module that can be used, kUsage for a line that cannot be named, kConfiguration for a file that
  // the device refuses. Opens no line yet.
  explicit DeviceSession(const CommonOptions& options, EventOutput events = EventOutput::kNone,
                         hostkit::TrafficListener* listener = nullptr);
  ~DeviceSession();
  DeviceSession(const DeviceSession&) = delete;
  DeviceSession& operator=(const DeviceSession&) = delete;

  // Both borrowed, as long as the session lives.
  hostkit::ModemDevice& device() { return *modem; }
  hostkit::LineTrace& lineTrace() { return trace; }
  // The traffic since the last of these three began.
  // Borrowed; emptied by the next of them.
  const std::vector<hostkit::TrafficPiece>& lastTraffic() const { return traffic.pieces; }
  // Whether the device announced a changed report since the last call.
  bool takeChanged() { return printer.takeChanged(); }
  // Opens the line; throws Failure. A modem that stays silent is no failure here: the device's status says so.
  // kLine where the line does not open or takes no such settings, kConfiguration for a mode or a file that cannot work.
  void start();
  // As start, and throws Failure as well when no modem answers.
  void startReady();
  // As those of ModemDevice: nothing is thrown for a modem that fails, see explain.
  hostkit::Answer report();
  hostkit::Answer sendSms(const std::string& phone, const std::string& text);
  // What the failure of the last call means, with the cause as far as line and traffic show it.
  // Looks at the line once more where that may tell why; opens it for a moment then.
  Failure explain(const Status& status);

 private:
  // Destroyed from the last to the first: the device, what it tells, the modem at the other end.
  std::unique_ptr<SimulatedModem> simulated;
  EventPrinter printer;
  TrafficPrinter trafficPrinter;
  hostkit::TrafficLog traffic;
  hostkit::LineTrace trace;
  std::optional<hostkit::Recorder> recorder;
  std::unique_ptr<hostkit::ModemDevice> modem;
};

}  // namespace orvix::host
