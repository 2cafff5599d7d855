#include "device/atReply.h"
#include "device/gsmDevice.h"
#include "device/log.h"

namespace orvix::gsm {
namespace {

constexpr int kCommandWaitMs = 1500;
constexpr int kMessageWaitMs = 5000;
constexpr int kSignalLine = 710;
// Ctrl-Z ends the body. The exchange keeps back the last byte, so the modem sees Ctrl-Z, CR, LF, CR.
constexpr char kEndOfMessage[] = "\x1a\r\n\r\n";

}  // namespace

Status GsmDevice::setSmsParams(const BSONObject& params) {
  if (!hasKeyOfType(params, "phone", BSON_TYPE_UTF8)) {
    return Status::failed("Parameter phone missing.");
  }
  if (!hasKeyOfType(params, "text", BSON_TYPE_UTF8)) {
    return Status::failed("Parameter text missing.");
  }
  if (*params.getString("phone", "") == '\0') {
    return Status::failed("Parameter params.phone is empty.");  // Hosts rely on the prefix, here alone.
  }
  if (*params.getString("text", "") == '\0') {
    return Status::failed("Parameter text is empty.");
  }
  smsParams = params.copy();
  return {};
}

Status GsmDevice::sendSms() {
  const std::lock_guard<std::mutex> lock(commandLock);
  Status status = sendAtCommand("AT+CMGF=1\r\n", "OK", kCommandWaitMs, nullptr);
  if (!status.isOk()) {
    logDevice(1, "set the text mode for SMS writing failed!");
    return status;
  }
  const std::string phone = smsParams.getString("phone", "");
  status = sendAtCommand("AT+CMGS=\"" + phone + "\"\r\n", ">", kCommandWaitMs, nullptr);
  if (!status.isOk()) {
    logDevice(1, "set the target telephone number, to which the SMS shall be sent failed!");
    return status;
  }
  std::string reply;
  const std::string text = smsParams.getString("text", "");
  status = sendAtCommand(text + kEndOfMessage, "OK", kMessageWaitMs, &reply);
  if (!status.isOk()) {
    logDevice(1, "send text failed! ");
  }
  return status;
}

Status GsmDevice::getSignalQuality(std::string* value) {
  std::string reply;
  {
    const std::lock_guard<std::mutex> lock(commandLock);
    sendAtCommand("AT+CSQ\r\n", "", kCommandWaitMs, &reply);  // Only the text counts.
  }
  const std::optional<std::string> quality = signalText(reply);
  if (!quality) {
    return Status::failed("getSignalQuality");
  }
  if (value != nullptr) {
    *value = *quality;
  }
  logDevice(3, "GSM SignalStrength is [" + *quality + "]", kSignalLine);
  return {};
}

Status GsmDevice::getNetworkRegistrationStatus(std::string* value) {
  std::string reply;
  {
    const std::lock_guard<std::mutex> lock(commandLock);
    sendAtCommand("AT+CREG?\r\n", "", kCommandWaitMs, &reply);  // Only the text counts.
  }
  if (!hasRegistration(reply)) {
    return Status::failed("getNetworkRegistrationStatus");
  }
  if (value != nullptr) {
    *value = registrationText(reply);
  }
  return {};
}

Status GsmDevice::probeModem() {
  if (Status opened = openConnection(); !opened.isOk()) {
    return opened;
  }
  const std::lock_guard<std::mutex> lock(commandLock);
  return sendAtCommand("AT+CMGF?\r\n", "OK", kCommandWaitMs, nullptr);
}

}  // namespace orvix::gsm
