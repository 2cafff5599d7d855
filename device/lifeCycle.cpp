// What a device is called, and how it comes into service and out of it.

#include "device/gsmDevice.h"
#include "device/log.h"
#include "plugin/names.h"
#include "plugin/plugin.h"

namespace orvix::gsm {
namespace {

// Hosts compare it with the one that they were built for.
constexpr std::uint32_t kInterfaceVersion = 0x1000;

}  // namespace

GsmDevice::GsmDevice() : name(PluginDisplayName) {
}

GsmDevice::~GsmDevice() {
  closeConnection();
}

std::uint32_t GsmDevice::GetInterfaceVersion() {
  return kInterfaceVersion;
}

std::string GsmDevice::GetTypeName() {
  return names::kType;  // not the name, which hosts may change
}

std::string GsmDevice::GetName() {
  return name;
}

void GsmDevice::SetName(const std::string& newName) {
  name = newName;
}

DeviceStatus GsmDevice::GetStatus() {
  return statusOf(state);
}

bool GsmDevice::SetEventSink(IDeviceEventSink* sink) {
  eventSink = sink;
  return true;
}

// Hosts see the status, which is coarser: a change of the state alone is told to nobody.
void GsmDevice::OnStateChanged(DeviceState newState) {
  // Exchanged in one step, so that two threads never tell the same change twice.
  const DeviceStatus oldStatus = statusOf(state.exchange(newState));
  const DeviceStatus newStatus = statusOf(newState);
  if (oldStatus == newStatus) {
    return;
  }
  logDevice(3, "OnStateChanged \n\t\twas: " + statusName(oldStatus) + " is: " + statusName(newStatus) + ".");
  if (eventSink != nullptr) {
    eventSink->OnStatusChanged(this, newStatus);
  }
}

bool GsmDevice::OnEvent(const std::string& event, const BSONObject& document) {
  logDevice(3, "OnEvent");
  if (eventSink == nullptr) {
    return false;
  }
  eventSink->OnEvent(this, event, document);
  return true;
}

Status GsmDevice::Start() {
  switch (state) {
    case DeviceState::kNone:
    case DeviceState::kCreated:
    case DeviceState::kReset:
      return Status::failed("SetConfig first, current state ", statusName(statusOf(state)).c_str());
    case DeviceState::kConnect:
    case DeviceState::kReady:
      return {};  // Hosts rely on it: the line is not looked at, though it may have died meanwhile.
    case DeviceState::kWithConfig:
    case DeviceState::kInitializing:
      return startConnection();
    case DeviceState::kInitFailed:
    case DeviceState::kNotAvailable:
    case DeviceState::kError:
      closeConnection();
      return startConnection();
  }
  return Status::failed("Command not accepted in current state", statusName(statusOf(state)).c_str());
}

// The modem's answer decides the state alone: a modem that stays silent does not fail the start. A line that does not
// open leaves the state as it was.
Status GsmDevice::startConnection() {
  Status opened = openConnection();
  if (opened.isOk()) {
    OnStateChanged(probeModem().isOk() ? DeviceState::kReady : DeviceState::kNotAvailable);
  }
  return opened;
}

Status GsmDevice::Stop() {
  closeConnection();  // in every state: a report may have left the line open in one that is not active
  if (isActive(state)) {
    OnStateChanged(DeviceState::kWithConfig);
  }
  return {};
}

Status GsmDevice::terminate() {
  // Out of service already.
  if (state == DeviceState::kCreated || state == DeviceState::kWithConfig || state == DeviceState::kReset) {
    return {};
  }
  if (!isActive(state)) {
    return Status::failed("cannot terminate device in current State", stateName(state).c_str());
  }
  closeConnection();
  OnStateChanged(DeviceState::kWithConfig);
  return {};
}

}  // namespace orvix::gsm
