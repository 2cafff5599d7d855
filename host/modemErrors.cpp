#include "host/modemErrors.h"

#include <cstdlib>

namespace orvix::host {
namespace {

struct Meaning {
  int number;
  const char* text;
};

constexpr Meaning kMeanings[] = {
    {1, "unassigned number"},
    {8, "operator determined barring"},
    {10, "call barred, or no SIM card"},
    {11, "the SIM card wants its PIN"},
    {12, "the SIM card wants its PUK"},
    {13, "SIM card failure"},
    {14, "the SIM card is busy"},
    {21, "the network rejects the message"},
    {27, "destination out of service"},
    {28, "unidentified subscriber"},
    {30, "unknown subscriber, or no network service"},
    {38, "network out of order"},
    {41, "temporary failure of the network"},
    {42, "congestion in the network"},
    {47, "resources unavailable"},
    {50, "facility not subscribed: does the contract allow text messages?"},
    {69, "facility not implemented"},
    {300, "failure of the modem"},
    {301, "the modem's message service is reserved"},
    {302, "operation not allowed"},
    {303, "operation not supported"},
    {304, "invalid message (PDU mode)"},
    {305, "invalid message (text mode)"},
    {310, "no SIM card"},
    {311, "the SIM card wants its PIN"},
    {313, "SIM card failure"},
    {314, "the SIM card is busy"},
    {316, "the SIM card wants its PUK"},
    {321, "invalid memory index"},
    {322, "message memory full"},
    {330, "the number of the message centre is not known (AT+CSCA)"},
    {331, "no network service: antenna, registration?"},
    {332, "the network did not answer in time"},
    {500, "unknown error, often not registered in the network"},
};

}  // namespace

std::string explained(const std::string& statusText) {
  static const std::string kMark = "ERROR: ";
  const std::size_t mark = statusText.find(kMark);
  const long number =
      mark == std::string::npos ? -1 : std::strtol(statusText.c_str() + mark + kMark.size(), nullptr, 10);
  for (const Meaning& meaning : kMeanings) {
    if (meaning.number == number) {
      return statusText + " (" + meaning.text + ")";
    }
  }
  return statusText;
}

}  // namespace orvix::host
