#include "common/text.h"
#include "device/gsmDevice.h"
#include "document/builder.h"

namespace orvix::gsm {

Status GsmDevice::IoControl(const std::string& code, const BSONObject* pInParam, BSONObject* pOutParam) {
  if (state != DeviceState::kReady) {
    return Status::failed("Problem: GSM Modem Device is not ready, but in state:", stateName(state).c_str());
  }
  BSONBuilder answer;
  if (!answer.appendString("id", "GSMModem")) {
    return Status::failed(code.c_str());
  }
  Status result = Status::invalidArgument("Control Code for IoControl unknown", code.c_str());
  if (code == "sendSMS") {
    bool isAnswered = false;
    result = sendSmsCode(pInParam, &answer, &isAnswered);
    if (!isAnswered) {
      return result;
    }
  } else if (code == "TerminateDevice") {
    result = terminate();
  }
  if (pOutParam != nullptr) {
    *pOutParam = answer.getObject(false);
  }
  return result;
}

// The message goes out, or not, before there is an answer; the host hears of it in both cases.
Status GsmDevice::sendSmsCode(const BSONObject* pInParam, BSONBuilder* answer, bool* isAnswered) {
  if (pInParam == nullptr) {
    return Status::invalidPointer("pInParam is null");
  }
  if (Status accepted = setSmsParams(*pInParam); !accepted.isOk()) {
    return accepted;
  }
  Status sent = sendSms();
  if (!answer->appendString("TransmissionResult", sent.toString())) {
    return Status::failed("sendSMS");
  }
  *isAnswered = true;
  OnEvent(toUpper("sms"), answer->getObject(false));
  return sent;
}

}  // namespace orvix::gsm
