// What a client may change while it talks to a modem. Plain data.
#pragma once

#include <string>

namespace orvix::simulator {

// ATZ and AT&F restore these values (echo: that of the options).
struct Settings {
  bool echo = true;
  int messageFormat = 0;       // AT+CMGF: 0 PDU, 1 text
  int registrationReport = 0;  // AT+CREG: 1 reports changes, 2 with the location, which the answer of AT+CREG? adds too
  int errorReport = 0;         // AT+CMEE: 0 ERROR, 1 a number, 2 words
  int messageService = 0;      // AT+CSMS: 0 or 1, without effect here
  std::string characterSet = "\"IRA\"";           // AT+CSCS: of text mode: "IRA" or "GSM"
  std::string indications = "0,0,0,0,0";          // AT+CNMI: as given; nothing ever arrives
  std::string textParameters = "17,167,0,0";      // AT+CSMP: as given, without effect here
  std::string serviceCentre = "\"+490001\",145";  // AT+CSCA: as given, without effect here
};

}  // namespace orvix::simulator
