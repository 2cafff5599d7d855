// What the numbers of AT+CSQ and AT+CREG mean.

#include <iterator>

#include "device/gsmDataReport.h"
#include "plugin/names.h"

namespace orvix::gsm {
namespace {

// 3GPP TS 27.007, 8.5: <rssi> 0 to 31 stands for -113 to -51 dBm in steps of 2, 99 for unknown.
constexpr std::int32_t kUnknownCsq = 99;
constexpr int kUnknownDbm = -9999;
constexpr int kOutOfRangeDbm = -9998;
constexpr int kUnknownPercent = -1;
constexpr int kOutOfRangePercent = -2;

constexpr std::int32_t kWordCount = std::size(names::kRegistrationWords);

// Hosts rely on it: the modem's 0 and 1 are out of range.
bool isInRange(std::int32_t csq) {
  return csq >= 2 && csq <= 31;
}

}  // namespace

int GsmDataReport::signalDbm(std::int32_t csq) {
  if (csq == kUnknownCsq) {
    return kUnknownDbm;
  }
  return isInRange(csq) ? 2 * csq - 113 : kOutOfRangeDbm;
}

int GsmDataReport::signalPercent(std::int32_t csq) {
  if (csq == kUnknownCsq) {
    return kUnknownPercent;
  }
  return isInRange(csq) ? (csq - 1) * 100 / 30 : kOutOfRangePercent;
}

bool GsmDataReport::isSignalValid(std::int32_t csq) {
  return signalPercent(csq) > 0 && signalDbm(csq) > kOutOfRangeDbm;
}

const char* GsmDataReport::registrationWord(std::int32_t cregStat) {
  return cregStat >= 0 && cregStat < kWordCount ? names::kRegistrationWords[cregStat] : "unknown";
}

bool GsmDataReport::isRegistrationValid(std::int32_t cregStat) {
  return cregStat >= 0 && cregStat <= kWordCount;  // Hosts rely on the 6 that has no word.
}

}  // namespace orvix::gsm
