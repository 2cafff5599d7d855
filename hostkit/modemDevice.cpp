#include "hostkit/modemDevice.h"

#include <filesystem>
#include <shared_mutex>
#include <stdexcept>
#include <utility>

#include "document/document.h"
#include "hostkit/connectionString.h"
#include "hostkit/error.h"
#include "plugin/names.h"

namespace orvix::hostkit {
namespace {

// Always taken in this order, a device's own turn between the second and the third. With callbacks that call no device
// but their own, nobody can wait in a circle.
std::mutex turnstile;            // a creation that waits holds it, so that later calls do not overtake it for ever
std::shared_mutex moduleUse;     // creations alone, all other calls together
std::recursive_mutex lineTable;  // the module's open ports, its last report, and files saved by the second

thread_local const ModemDevice* current = nullptr;  // whose call this thread is in

void refuseFromListeners() {
  if (LineTrace::isInListener()) {
    throw std::logic_error("a traffic listener must not call a device");
  }
}

BSONObject creationArguments(const std::string& configFile) {
  BSONBuilder args;
  // A bare name could be read but not saved.
  args.appendString(names::kConfigurationFile, std::filesystem::absolute(configFile).string());
  return args.getObject(false);
}

void refuseDefault(const BSONObject& taken, const std::string& configFile) {
  BSONObject wanted;
  if (loadJSON(configFile, &wanted).isOk() && wanted != taken) {
    throw Error(configFile + " breaks a rule of the device");
  }
}

}  // namespace

// A call's right to run. Nested calls, from a listener of the same device, are in already.
class ModemDevice::Turn {
 public:
  enum Scope { kDeviceAlone, kAllLines };

  Turn(const ModemDevice* owner, Scope scope) : isOutermost(current != owner), lines(lineTable, std::defer_lock) {
    refuseFromListeners();
    if (isOutermost && current != nullptr) {
      throw std::logic_error("a listener must not call another device");
    }
    if (isOutermost) {
      {
        // Let through one by one, so that a creation that waits is not overtaken by calls that come later.
        const std::lock_guard<std::mutex> pass(turnstile);
        use = std::shared_lock<std::shared_mutex>(moduleUse);
      }
      own = std::unique_lock<std::recursive_mutex>(owner->ownTurn);
      current = owner;
    }
    if (scope == kAllLines) {
      lines.lock();
    }
  }
  ~Turn() {
    if (isOutermost) {
      current = nullptr;
    }
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  bool isOutermost;
  // Given back from the last to the first.
  std::shared_lock<std::shared_mutex> use;
  std::unique_lock<std::recursive_mutex> own;
  std::unique_lock<std::recursive_mutex> lines;
};

ModemDevice::ModemDevice(std::shared_ptr<const PluginLibrary> plugin, const std::string& configFile, LineTrace* trace,
                         DeviceListener* eventListener)
    : library(std::move(plugin)), lineTrace(trace), listener(eventListener), device(nullptr, library->destroyer()) {
  refuseFromListeners();
  if (current != nullptr) {
    throw std::logic_error("a listener must not create a device");
  }
  // The module's set-up is process-wide: nothing else may run meanwhile.
  const std::lock_guard<std::mutex> pass(turnstile);
  const std::lock_guard<std::shared_mutex> alone(moduleUse);
  Status status;
  device.reset(library->creator()(creationArguments(configFile), &status, trace));
  if (device == nullptr) {
    throw Error(status.toString());
  }
  device->SetEventSink(this);
  BSONObject config;
  device->GetProperty(names::kCurrentConfiguration, &config);
  // The device says nothing when it takes its default instead of the file: only what it holds tells.
  refuseDefault(config, configFile);
  connection = connectionString(config);
}

// NOLINTNEXTLINE(bugprone-exception-escape): a lock that cannot be had ends the process
ModemDevice::~ModemDevice() {
  if (device != nullptr) {
    const Turn turn(this, Turn::kAllLines);
    device.reset();
  }
}

Status ModemDevice::start() {
  const Turn turn(this, Turn::kAllLines);
  try {
    return device->Start();
  } catch (const std::out_of_range&) {  // the device's answer to a connection string without a colon
    return Status::failed(kNoSettingsText);
  }
}

Status ModemDevice::stop() {
  const Turn turn(this, Turn::kAllLines);
  return device->Stop();
}

DeviceStatus ModemDevice::status() const {
  // Without a turn: the state is a word that can be read at any time.
  return device->GetStatus();
}

Answer ModemDevice::report() {
  const Turn turn(this, Turn::kAllLines);
  Answer answer;
  IDeviceDataReport* raw = nullptr;
  try {
    answer.status = device->GetDataReport(&raw);
  } catch (const std::out_of_range&) {
    // The same exception comes from a registration answer that breaks off; a line with settings rules the other out.
    const bool hasSettings = connection.find(':') != std::string::npos;
    answer.status = Status::failed(hasSettings ? "the modem's registration answer is cut off" : kNoSettingsText);
  }
  const std::unique_ptr<IDeviceDataReport> report(raw);
  BSONObject document;
  if (report != nullptr && report->GetDocument(&document)) {
    answer.document = document.copy();  // the module's own must not outlive the module
  }
  return answer;
}

Answer ModemDevice::sendSms(const std::string& phone, const std::string& text) {
  BSONBuilder message;
  message.appendString(names::kPhone, phone);
  message.appendString(names::kText, text);
  const BSONObject input = message.getObject(false);
  return ioControl(names::kSendSms, &input);
}

Answer ModemDevice::property(const std::string& name) {
  const Turn turn(this, Turn::kDeviceAlone);
  BSONObject document;
  Status status = device->GetProperty(name, &document);
  return {std::move(status), document.copy()};
}

Status ModemDevice::setProperty(const std::string& name, const BSONObject& value) {
  // A configuration is saved under a name of the second: two devices must not do so at once.
  const Turn turn(this, name == names::kCurrentConfiguration ? Turn::kAllLines : Turn::kDeviceAlone);
  return device->SetProperty(name, value);
}

Answer ModemDevice::ioControl(const std::string& code, const BSONObject* input) {
  // Messages of several devices go out side by side; TerminateDevice closes a line.
  const Turn turn(this, code == names::kSendSms ? Turn::kDeviceAlone : Turn::kAllLines);
  BSONObject document;
  Status status = device->IoControl(code, input, &document);
  return {std::move(status), document.copy()};
}

void ModemDevice::setListener(DeviceListener* newListener) {
  const Turn turn(this, Turn::kDeviceAlone);
  listener = newListener;
}

void ModemDevice::exclusively(const std::function<void()>& work) {
  const Turn turn(this, Turn::kDeviceAlone);
  work();
}

void ModemDevice::OnEvent(IDevice* /*device*/, const std::string& name, const BSONObject& document) {
  if (listener != nullptr) {
    listener->onEvent(name, document.copy());
  }
}

void ModemDevice::OnDataReport(IDevice* /*device*/, IDeviceDataReport* report) {
  BSONObject document;
  if (listener != nullptr && report->GetDocument(&document)) {
    listener->onChangedReport(document.copy());
  }
}

void ModemDevice::OnStatusChanged(IDevice* /*device*/, DeviceStatus status) {
  if (listener != nullptr) {
    listener->onStatus(status);
  }
}

}  // namespace orvix::hostkit
