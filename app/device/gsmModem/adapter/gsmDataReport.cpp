#include "app/device/gsmModem/adapter/gsmDataReport.h"

#include "app/common/document/builder.h"
#include "app/common/text.h"

namespace orvix::gsm {

GsmDataReport::GsmDataReport(const GsmMeasurement& measurement)
    : timestamp(std::time(nullptr)), measured(measurement), reportDocument(buildDocument()) {
}

BSONObject GsmDataReport::buildDocument() const {
  BSONBuilder root;
  BSONBuilder modem;
  BSONBuilder report;
  BSONBuilder part;
  root.appendDocumentBegin("GSMModem", &modem);
  modem.appendDocumentBegin("report", &report);
  report.appendString("time", localTimeText(timestamp));

  report.appendDocumentBegin("signalQuality", &part);
  part.appendInt32("percent", signalPercent(measured.signalQuality));
  part.appendInt32("dBm", signalDbm(measured.signalQuality));
  part.appendBool("valid", isSignalValid(measured.signalQuality));
  report.appendDocumentEnd(&part);

  report.appendDocumentBegin("NetworkRegistration", &part);
  part.appendString("status", registrationWord(measured.registration));
  part.appendBool("valid", isRegistrationValid(measured.registration));
  report.appendDocumentEnd(&part);

  modem.appendDocumentEnd(&report);
  root.appendDocumentEnd(&modem);
  return root.getObject(false);
}

bool GsmDataReport::GetTimestamp(std::time_t* time) {
  if (time == nullptr) {
    return false;
  }
  *time = timestamp;
  return true;
}

bool GsmDataReport::GetValue(const std::string& path, BSONValue* value) {
  if (value == nullptr || !reportDocument.has(path)) {
    return false;
  }
  *value = reportDocument.get(path);
  return true;
}

bool GsmDataReport::GetDocument(BSONObject* document) {
  if (document == nullptr) {
    return false;
  }
  *document = reportDocument.copy();
  return true;
}

}  // namespace orvix::gsm
