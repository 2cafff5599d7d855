#include "device/gsmDataReport.h"

#include "common/text.h"
#include "document/builder.h"
#include "plugin/names.h"

namespace orvix::gsm {

GsmDataReport::GsmDataReport(const GsmMeasurement& measurement)
    // Made once: whatever a host asks of a report is of one moment.
    : timestamp(std::time(nullptr)), measured(measurement), reportDocument(buildDocument()) {
}

BSONObject GsmDataReport::buildDocument() const {
  // A builder for each level, closed from the inside out: while one is open, nothing may be appended to its parent.
  BSONBuilder root;
  BSONBuilder modem;
  BSONBuilder report;
  BSONBuilder signal;
  BSONBuilder network;
  root.appendDocumentBegin(names::kType, &modem);
  modem.appendDocumentBegin("report", &report);
  char time[64];
  report.appendString("time", localTimeText(timestamp, time));

  report.appendDocumentBegin("signalQuality", &signal);
  signal.appendInt32("percent", signalPercent(measured.signalQuality));
  signal.appendInt32("dBm", signalDbm(measured.signalQuality));
  signal.appendBool("valid", isSignalValid(measured.signalQuality));
  report.appendDocumentEnd(&signal);

  report.appendDocumentBegin("NetworkRegistration", &network);
  network.appendString("status", registrationWord(measured.registration));
  network.appendBool("valid", isRegistrationValid(measured.registration));
  report.appendDocumentEnd(&network);

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
  const BSONValue found = reportDocument.get(path);
  if (value == nullptr || found.isEmpty()) {
    return false;
  }
  // A view: it lives as long as the report.
  *value = found;
  return true;
}

bool GsmDataReport::GetDocument(BSONObject* document) {
  if (document == nullptr) {
    return false;
  }
  *document = reportDocument.copy();  // What a host appends to it stays out of the report.
  return true;
}

}  // namespace orvix::gsm
