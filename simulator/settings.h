// What a client may change while it talks to a modem. Plain data; one modem's own, in its thread.
//
// Texts are kept as they were given, quotes included, and shown so again.
#pragma once

#include <string>

namespace orvix::simulator {

// ATZ and AT&F restore these values (echo: that of the options).
struct Settings {
  bool echo = true;
  // AT+CMGF: 0 PDU, 1 text.
  int messageFormat = 0;
  // AT+CREG: 1 reports changes, 2 with the location, which the answer of AT+CREG? adds too.
  int registrationReport = 0;
  // AT+CMEE: 0 ERROR, 1 a number, 2 words.
  int errorReport = 0;
  // AT+CSMS: 0 or 1, without effect here.
  int messageService = 0;
  std::string characterSet = "\"IRA\"";   // AT+CSCS: of text mode: "IRA" or "GSM"
  std::string indications = "0,0,0,0,0";  // AT+CNMI: as given; nothing ever arrives
  // First octet, validity period, protocol, coding: SMS-SUBMIT with a relative period of 24 h.
  std::string textParameters = "17,167,0,0";      // AT+CSMP: as given, without effect here
  std::string serviceCentre = "\"+490001\",145";  // AT+CSCA: as given, without effect here
};

}  // namespace orvix::simulator
