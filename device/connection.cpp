// The line to the modem: from the configuration to a connection string, and from that to an open port.

#include "device/gsmDevice.h"
#include "device/log.h"
#include "plugin/names.h"
#include "plugin/networkPath.h"
#include "serial/xpl.h"

namespace orvix::gsm {
namespace {

// In bytes. What a modem sends in one exchange fits twice; traces show what one read brought, at most this.
constexpr unsigned kReceiveSize = 128;
constexpr unsigned kTransmitSize = 128;

}  // namespace

Status GsmDevice::openConnection() {
  const std::string mode = config.getString(names::kModePath, "");
  if (mode == names::kSerialMode) {
    return initConnection(getComstr());
  }
  if (mode == names::kNetworkMode) {
    return initConnection(composeComstr());
  }
  return Status::failed("unknown mode", mode.c_str());
}

std::string GsmDevice::getComstr() const {
  return config.getString(names::kComstrPath, "");
}

std::string GsmDevice::composeComstr() const {
  const std::string comstr = getComstr();
  // Without a colon substr throws std::out_of_range, which hosts know.
  return networkPath(config) + comstr.substr(comstr.find(':'));
}

// Hosts rely on it: the trace provider is asked even when the line is open and stays as it is.
Status GsmDevice::initConnection(const std::string& dcbConnectionString) {
  void* traceContext = nullptr;
  XplTraceCallback traceCallback = nullptr;
  if (traceProvider != nullptr && traceProvider->IsTraceEnabled()) {
    traceContext = traceProvider->GetTraceContext();
    traceCallback = traceProvider->GetTraceCallback();
  }
  // Open already: opening twice is no fault.
  if (modemConnectionDescriptor >= 1) {
    return {};
  }
  XplDcb dcb;
  if (XPLBuildDCB(dcbConnectionString.c_str(), &dcb, nullptr) == 0) {
    logDevice(1, "XPLBuildDCB Error: dcbConnectionString= " + dcbConnectionString + "\n");
    return Status::failed("XPLBuildDCB");
  }
  const int handle = XPLOpen(&dcb, kReceiveSize, kTransmitSize, traceContext, traceCallback);
  if (handle < 1) {
    return Status::failed("XPLOpen dcb:", dcbConnectionString.c_str());
  }
  modemConnectionDescriptor = handle;
  logDevice(3, "initConnection successfully connected with this dcbConnectionString: [" + dcbConnectionString + "]");
  return {};
}

Status GsmDevice::closeConnection() {
  if (modemConnectionDescriptor == 0) {
    return Status::invalidHandle("modemConnectionDescriptor not set");
  }
  const std::lock_guard<std::mutex> lock(commandLock);  // A command in progress is let through first.
  if (XPLClose(modemConnectionDescriptor) == 0) {
    return Status::failed("close Modem Communication device");
  }
  modemConnectionDescriptor = 0;
  return {};
}

}  // namespace orvix::gsm
