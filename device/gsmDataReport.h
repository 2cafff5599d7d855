// The data report of a GSM modem. Threads: immutable once made, so any number may read it.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "plugin/device.h"

namespace orvix::gsm {

// The modem's own numbers: AT+CSQ (3GPP TS 27.007 8.5), 0 to 31 or 99 for unknown; AT+CREG (7.2), the stat parameter.
struct GsmMeasurement {
  std::int32_t signalQuality;
  std::int32_t registration;
};

// Document of a report, keys in this order:
//
//   {"GSMModem": {"report": {"time": "07.03.2024 14:05",
//                            "signalQuality": {"percent": 63, "dBm": -73, "valid": true},
//                            "NetworkRegistration": {"status": "home", "valid": true}}}}
//
// "time" is the local time of construction. The document is made in gsmDataReport.cpp, its numbers and words in
// measurement.cpp.
class GsmDataReport : public IDeviceDataReport {
 public:
  explicit GsmDataReport(const GsmMeasurement& measurement);

  bool GetTimestamp(std::time_t* time) override;
  bool GetValue(const std::string& path, BSONValue* value) override;
  bool GetDocument(BSONObject* document) override;

  // The modem's strength number `csq`, 0 to 31 or 99 for unknown, in dBm (-109 to -51) and in percent (3 to 100).
  // Unknown gives -9999 dBm and -1 %. Out of range gives -9998 dBm and -2 %; 0 and 1 count as out of range, which hosts
  // rely on.
  static int signalDbm(std::int32_t csq);
  static int signalPercent(std::int32_t csq);
  // True for 2 to 31.
  static bool isSignalValid(std::int32_t csq);

  // "none", "home", "searching", "denied", "unknown" or "roaming" for 0 to 5, "unknown" for all else.
  static const char* registrationWord(std::int32_t cregStat);
  // True for 0 to 6. Hosts rely on 6, which has no word of its own, being valid.
  static bool isRegistrationValid(std::int32_t cregStat);

 private:
  BSONObject buildDocument() const;

  std::time_t timestamp;
  GsmMeasurement measured;
  BSONObject reportDocument;
};

}  // namespace orvix::gsm
