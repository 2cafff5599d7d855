// The command set as a pure function: command line in, reply out. It opens, waits for and remembers nothing, so any
// number of threads may call it, each with settings of its own.
//
// Understood: AT, ATE, ATI, ATZ and AT&F (ITU-T V.250); +CGMI, +CGMM, +CGMR, +CGSN, +CIMI, +CPIN?, +CFUN, +COPS?, +CSQ,
// +CREG, +CSCS and +CMEE (3GPP TS 27.007); +CMGF, +CMGS, +CSCA, +CSMS, +CSMP and +CNMI (3GPP TS 27.005). One command
// per line, any mixture of cases. The modem stores no messages, so +CPMS and its kin answer ERROR.
#pragma once

#include "simulator/modemOptions.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvix::simulator {

// Codes of +CMS ERROR for a message that the modem itself cannot take.
constexpr int kInvalidPduModeParameter = 304;
constexpr int kInvalidTextModeParameter = 305;

// The values of AT+CMGF.
enum class MessageMode { pdu, text };

// What the client may change while it talks; ATZ and AT&F restore these values (echo: that of the options).
struct Settings {
  bool echo = true;
  int messageFormat = 0;       // AT+CMGF: 0 PDU, 1 text
  int registrationReport = 0;  // AT+CREG: 1 reports changes, 2 with the location, which the answer of AT+CREG? adds too
  int errorReport = 0;         // AT+CMEE: 0 ERROR, 1 a number, 2 words
  int messageService = 0;      // AT+CSMS: 0 or 1, without effect here
  std::string characterSet = "\"IRA\"";           // AT+CSCS: one of those listed, without effect here
  std::string indications = "0,0,0,0,0";          // AT+CNMI: as given; nothing ever arrives
  std::string textParameters = "17,167,0,0";      // AT+CSMP: as given, without effect here
  std::string serviceCentre = "\"+490001\",145";  // AT+CSCA: as given, without effect here
};

// A message that is about to be sent: what AT+CMGS said of the body that follows.
struct Submission {
  MessageMode mode;
  std::string destination;    // text mode
  std::size_t pduOctets = 0;  // PDU mode: without the service centre's address
};

struct Answer {
  std::string reply;                       // ready to send, with its CR LF frame
  std::optional<Submission> submission{};  // when present, the reply is a prompt and the body of a message follows
};

// "\r\n<text>\r\n"
std::string framed(std::string_view text);

// "\r\nERROR\r\n", for a line that is no command.
std::string errorReply();

// "\r\n+CMS ERROR: <code>\r\n"
std::string smsErrorReply(int code);

// "\r\n+CMGS: <reference>\r\n\r\nOK\r\n"
std::string smsAcceptedReply(int reference);

// The unsolicited "\r\n+CREG: <stat>\r\n" of a change, as AT+CREG asks; empty when it asks for none.
std::string registrationChange(const ModemOptions& options, const Settings& settings);

bool beginsWithAt(std::string_view line);

// Executes a line that begins with AT and comes without its CR. Unknown and malformed commands answer ERROR; a refused
// parameter of a known command answers as AT+CMEE asks.
Answer answerCommand(std::string_view line, const ModemOptions& options, Settings& settings);

}  // namespace orvix::simulator
