#include "host/commands.h"

#include <iostream>
#include <memory>

#include "app/common/document/document.h"
#include "host/exitCode.h"

namespace orvix::host {
namespace {

std::string signalBar(int percent) {
  constexpr int kCells = 10;
  const int filled = percent > 0 ? (percent * kCells + 50) / 100 : 0;
  return "[" + std::string(static_cast<std::size_t>(filled), '#') +
         std::string(static_cast<std::size_t>(kCells - filled), '.') + "]";
}

std::string signalText(const BSONObject& report) {
  if (!report.getBool("signalQuality.valid", false)) {
    return signalBar(0) + "  unknown";
  }
  const int percent = report.getInt32("signalQuality.percent", 0);
  return signalBar(percent) + "  " + std::to_string(report.getInt32("signalQuality.dBm", 0)) + " dBm, " +
         std::to_string(percent) + " %";
}

void printReport(const BSONObject& document) {
  const BSONObject report = document.getObject("GSMModem.report", false);
  std::cout << "  Signal        " << signalText(report) << "\n"
            << "  Registration  " << report.getString("NetworkRegistration.status", "unknown") << "\n"
            << "  Measured      " << report.getString("time", "") << std::endl;
}

// Opens the line and makes sure that somebody answers on it.
void startModem(DeviceSession* session) {
  std::cout << "GSM modem on " << session->line() << std::endl;
  session->start();
  if (session->device().GetStatus() != DeviceStatus::kReady) {
    throw Failure(kModem, "no modem answers on " + session->line() + "; is it powered, and is the speed right?");
  }
}

}  // namespace

void showReport(DeviceSession* session) {
  startModem(session);
  IDeviceDataReport* raw = nullptr;
  const Status status = session->device().GetDataReport(&raw);
  const std::unique_ptr<IDeviceDataReport> report(raw);
  if (!status.isOk()) {
    throw Failure(kModem, "the modem gave no report: " + status.toString());
  }
  BSONObject document;
  report->GetDocument(&document);
  printReport(document);
}

void sendMessage(DeviceSession* session, const std::string& phone, const std::string& text) {
  startModem(session);
  BSONBuilder message;
  message.appendString("phone", phone);
  message.appendString("text", text);
  const BSONObject params = message.getObject(false);
  std::cout << "  sending to " << phone << ", this takes some 8 s" << std::endl;
  BSONObject answer;
  const Status sent = session->device().IoControl("sendSMS", &params, &answer);
  if (!sent.isOk()) {
    throw Failure(kModem, "the message was not sent: " + sent.toString());
  }
  std::cout << "  sent    the modem answered " << answer.getString("TransmissionResult", "") << std::endl;
}

}  // namespace orvix::host
