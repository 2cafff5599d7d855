// The exported functions: registration, factory and destroyer.

#include <memory>
#include <new>

#include "device/gsmDevice.h"
#include "logging/logging.h"
#include "plugin/names.h"
#include "plugin/plugin.h"

using orvix::gsm::GsmDevice;

namespace {

// Hosts rely on it: the text holds their own status, as it was before the call.
orvix::Status refuseEmptyArguments(const orvix::BSONObject& args, const orvix::Status& callersStatus) {
  const void* const withKeys = &args;
  const std::string text = "GsmDevice::CreateGsmDevice():SetConfig(boArgs=" + args.toStream(withKeys, true) +
                           "): " + callersStatus.toString() + "Invalid BSON arguments. Config is empty!\n";
  return orvix::Status::invalidArgument(text.c_str());
}

}  // namespace

// The result is the host's own affair: a plug-in that nobody wants is never asked for a device.
std::int32_t PluginInit() {
  RegisterDevice(orvix::names::kType, CreateGsmDevice, DestroyGsmDevice);
  return 0;
}

orvix::IDevice* CreateGsmDevice(const orvix::BSONObject& args, orvix::Status* pStatus,
                                orvix::ITraceProvider* traceProvider) {
  orvix::installDebugBridge();  // first, so that whatever goes wrong from here on reaches the host's log
  orvix::Status status;
  std::unique_ptr<GsmDevice> device(new (std::nothrow) GsmDevice);
  if (device == nullptr) {
    status = orvix::Status::outOfMemory("CreateDevice failed");
  } else if (args.isEmpty()) {
    status = refuseEmptyArguments(args, *pStatus);
  } else {
    status = device->LoadConfig(args);
  }
  if (status.isOk()) {
    device->setTraceProvider(traceProvider);
  } else {
    device.reset();
  }
  if (pStatus != nullptr) {
    *pStatus = status;
  }
  return device.release();
}

void DestroyGsmDevice(orvix::IDevice* device) {
  delete device;
}
