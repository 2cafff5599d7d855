#include "common/text.h"
#include "device/gsmDevice.h"
#include "device/log.h"
#include "serial/xpl.h"

namespace orvix::gsm {
namespace {

constexpr unsigned kReceiveSize = 128;
constexpr unsigned kTransmitSize = 128;

}  // namespace

Status GsmDevice::openConnection() {
  const std::string mode = config.getString("config.mode", "");
  if (mode == "com") {
    return initConnection(getComstr());
  }
  if (mode == "ip") {
    return initConnection(composeComstr());
  }
  return Status::failed("unknown mode", mode.c_str());
}

std::string GsmDevice::getComstr() const {
  return config.getString("config.comstr", "");
}

std::string GsmDevice::composeComstr() const {
  const std::string comstr = getComstr();
  return "/dev/tcp/" + std::string(config.getString("config.ip.address", "")) + "/" +
         intToText(config.getInt32("config.ip.port", 0), 10) + comstr.substr(comstr.find(':'));
}

Status GsmDevice::initConnection(const std::string& dcbConnectionString) {
  void* traceContext = nullptr;
  XplTraceCallback traceCallback = nullptr;
  if (traceProvider != nullptr && traceProvider->IsTraceEnabled()) {
    traceContext = traceProvider->GetTraceContext();
    traceCallback = traceProvider->GetTraceCallback();
  }
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
  const std::lock_guard<std::mutex> lock(commandLock);
  if (XPLClose(modemConnectionDescriptor) == 0) {
    return Status::failed("close Modem Communication device");
  }
  modemConnectionDescriptor = 0;
  return {};
}

}  // namespace orvix::gsm
