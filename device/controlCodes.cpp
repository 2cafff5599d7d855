// IoControl: what a host tells a device to do.

#include "device/gsmDevice.h"
#include "document/builder.h"
#include "plugin/names.h"

namespace orvix::gsm {

// A refusal before the work leaves `pOutParam` as it is; once the work is done, its failure too has an answer.
Status GsmDevice::IoControl(const std::string& code, const BSONObject* pInParam, BSONObject* pOutParam) {
  // Before the code is looked at: hosts get this answer for unknown codes too.
  if (state != DeviceState::kReady) {
    return Status::failed("Problem: GSM Modem Device is not ready, but in state:", stateName(state).c_str());
  }
  BSONBuilder answer;
  if (!answer.appendString(names::kId, names::kType)) {
    return Status::failed(code.c_str());
  }
  Status result = Status::invalidArgument("Control Code for IoControl unknown", code.c_str());
  if (code == names::kSendSms) {
    if (Status accepted = acceptMessage(pInParam); !accepted.isOk()) {
      return accepted;
    }
    result = sendSms();
    if (!answer.appendString(names::kTransmissionResult, result.toString())) {
      return Status::failed(code.c_str());
    }
    OnEvent(names::kSmsEvent, answer.getObject(false));  // The host hears of it whether or not the message went out.
  } else if (code == names::kTerminateDevice) {
    result = terminate();
  }
  if (pOutParam != nullptr) {
    *pOutParam = answer.getObject(false);
  }
  return result;
}

Status GsmDevice::acceptMessage(const BSONObject* pInParam) {
  return pInParam != nullptr ? setSmsParams(*pInParam) : Status::invalidPointer("pInParam is null");
}

}  // namespace orvix::gsm
