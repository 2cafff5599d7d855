// The commands: sending a message, asking for signal and registration, probing the modem.

#include "device/atReply.h"
#include "device/gsmDevice.h"
#include "device/log.h"
#include "plugin/names.h"

namespace orvix::gsm {
namespace {

// The waits alone decide how long the modem has: the network may take its time with a message.
constexpr int kCommandWaitMs = 1500;
constexpr int kMessageWaitMs = 5000;
constexpr int kSignalLine = 710;  // hosts see it in their log, and filter by it
// Ctrl-Z ends the body. The exchange keeps back the last byte, so the modem sees Ctrl-Z, CR, LF, CR.
constexpr char kEndOfMessage[] = "\x1a\r\n\r\n";

}  // namespace

Status GsmDevice::setSmsParams(const BSONObject& params) {
  // The first fault is the answer, so the order is part of it.
  if (!hasKeyOfType(params, names::kPhone, BSON_TYPE_UTF8)) {
    return Status::failed("Parameter phone missing.");
  }
  if (!hasKeyOfType(params, names::kText, BSON_TYPE_UTF8)) {
    return Status::failed("Parameter text missing.");
  }
  if (*params.getString(names::kPhone, "") == '\0') {
    return Status::failed("Parameter params.phone is empty.");  // Hosts rely on "params.", which stands here alone.
  }
  if (*params.getString(names::kText, "") == '\0') {
    return Status::failed("Parameter text is empty.");
  }
  smsParams = params.copy();
  return {};
}

// One hold of the lock for all three steps: a query in between would be taken for the message's text.
Status GsmDevice::sendSms() {
  const std::lock_guard<std::mutex> lock(commandLock);
  Status status = sendAtCommand("AT+CMGF=1\r\n", "OK", kCommandWaitMs, nullptr);
  if (!status.isOk()) {
    logDevice(1, "set the text mode for SMS writing failed!");
    return status;
  }
  const std::string phone = smsParams.getString(names::kPhone, "");
  // The prompt counts wherever it stands in the reply, after an echo too.
  status = sendAtCommand("AT+CMGS=\"" + phone + "\"\r\n", ">", kCommandWaitMs, nullptr);
  if (!status.isOk()) {
    logDevice(1, "set the target telephone number, to which the SMS shall be sent failed!");
    return status;
  }
  std::string reply;  // Hosts see a refusal in the status; the reference in an answer is not read.
  const std::string text = smsParams.getString(names::kText, "");
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
  const std::optional<std::string> csq = findCsq(reply);
  if (!csq) {
    return Status::failed("getSignalQuality");
  }
  if (value != nullptr) {
    *value = *csq;
  }
  logDevice(3, "GSM SignalStrength is [" + *csq + "]", kSignalLine);
  return {};
}

Status GsmDevice::getNetworkRegistrationStatus(std::string* value) {
  std::string reply;
  {
    const std::lock_guard<std::mutex> lock(commandLock);
    sendAtCommand("AT+CREG?\r\n", "", kCommandWaitMs, &reply);  // Only the text counts.
  }
  const std::optional<std::size_t> cregStat = findCregStat(reply);
  if (!cregStat) {
    return Status::failed("getNetworkRegistrationStatus");
  }
  if (value != nullptr) {
    *value = reply.substr(*cregStat, 1);  // Hosts know the std::out_of_range of an answer that breaks off before it.
  }
  return {};
}

// The question is one that every modem for text messages answers; the answer itself does not matter.
Status GsmDevice::probeModem() {
  if (Status opened = openConnection(); !opened.isOk()) {
    return opened;
  }
  const std::lock_guard<std::mutex> lock(commandLock);
  return sendAtCommand("AT+CMGF?\r\n", "OK", kCommandWaitMs, nullptr);
}

}  // namespace orvix::gsm
