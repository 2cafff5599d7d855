#include "hostkit/modemErrors.h"

#include <charconv>

namespace orvix::hostkit {
namespace {

struct Meaning {
  ErrorKind kind;
  int code;
  const char* text;
};

constexpr ErrorKind kCms = ErrorKind::kCms;
constexpr ErrorKind kCme = ErrorKind::kCme;

// 3GPP TS 27.005, 3.2.5 (below 128 causes of the network, TS 24.011) and TS 27.007, 9.2, in words for people.
constexpr Meaning kMeanings[] = {
    {kCms, 1, "unassigned number"},
    {kCms, 8, "operator determined barring"},
    {kCms, 10, "call barred"},
    {kCms, 21, "the network rejects the message"},
    {kCms, 22, "the receiver's memory is full"},
    {kCms, 27, "destination out of service"},
    {kCms, 28, "unidentified subscriber"},
    {kCms, 29, "facility rejected"},
    {kCms, 30, "unknown subscriber"},
    {kCms, 38, "network out of order"},
    {kCms, 41, "temporary failure of the network"},
    {kCms, 42, "congestion in the network"},
    {kCms, 47, "resources unavailable"},
    {kCms, 50, "facility not subscribed: does the contract allow text messages?"},
    {kCms, 69, "facility not implemented"},
    {kCms, 300, "failure of the modem"},
    {kCms, 301, "the modem's message service is reserved"},
    {kCms, 302, "operation not allowed"},
    {kCms, 303, "operation not supported"},
    {kCms, 304, "invalid message (PDU mode)"},
    {kCms, 305, "invalid message (text mode)"},
    {kCms, 310, "no SIM card"},
    {kCms, 311, "the SIM card wants its PIN"},
    {kCms, 313, "SIM card failure"},
    {kCms, 314, "the SIM card is busy"},
    {kCms, 316, "the SIM card wants its PUK"},
    {kCms, 321, "invalid memory index"},
    {kCms, 322, "message memory full"},
    {kCms, 330, "the number of the message centre is not known (AT+CSCA)"},
    {kCms, 331, "no network service: antenna, registration?"},
    {kCms, 332, "the network did not answer in time"},
    {kCms, 500, "unknown error, often not registered in the network"},
    {kCme, 3, "operation not allowed"},
    {kCme, 4, "operation not supported"},
    {kCme, 10, "no SIM card"},
    {kCme, 11, "the SIM card wants its PIN"},
    {kCme, 12, "the SIM card wants its PUK"},
    {kCme, 13, "SIM card failure"},
    {kCme, 14, "the SIM card is busy"},
    {kCme, 15, "wrong SIM card"},
    {kCme, 30, "no network service"},
    {kCme, 31, "the network did not answer in time"},
    {kCme, 32, "the network allows emergency calls only"},
    {kCme, 100, "unknown error"},
};

}  // namespace

std::string meaningOf(ErrorKind kind, int code) {
  for (const Meaning& meaning : kMeanings) {
    if (meaning.kind == kind && meaning.code == code) {
      return meaning.text;
    }
  }
  return "";
}

std::string errorText(ErrorKind kind, int code) {
  const std::string meaning = meaningOf(kind, code);
  return (kind == kCms ? "+CMS ERROR: " : "+CME ERROR: ") + std::to_string(code) +
         (meaning.empty() ? "" : " (" + meaning + ")");
}

std::string explained(const std::string& statusText) {
  // The device's status keeps no more than "ERROR: N" of a modem's answer: both lists may be meant.
  static constexpr std::string_view kMark = "ERROR: ";
  const std::size_t mark = statusText.find(kMark);
  int code = -1;
  if (mark != std::string::npos) {
    std::from_chars(statusText.data() + mark + kMark.size(), statusText.data() + statusText.size(), code);
  }
  const std::string cms = meaningOf(kCms, code);
  const std::string cme = meaningOf(kCme, code);
  if (cms.empty() && cme.empty()) {
    return statusText;
  }
  const bool areBoth = !cms.empty() && !cme.empty() && cms != cme;
  return statusText + " (" + (areBoth ? cms + ", or " + cme : cms.empty() ? cme : cms) + ")";
}

}  // namespace orvix::hostkit
