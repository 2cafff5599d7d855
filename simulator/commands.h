// The command set as a pure function: command line in, reply out. It opens, waits for and remembers nothing, so any
// number of threads may call it, each with settings of its own.
//
// Understood: AT, ATE, ATI, ATZ and AT&F (ITU-T V.250); +CGMI, +CGMM, +CGMR, +CGSN, +CSQ, +CREG and +CMEE
// (3GPP TS 27.007); +CMGF and +CMGS in text mode (3GPP TS 27.005). One command per line, any mixture of cases.
#pragma once

#include "simulator/modemOptions.h"

#include <string>
#include <string_view>

namespace orvix::simulator {

// What the client may change while it talks; ATZ and AT&F restore these values (echo: that of the options).
struct Settings {
  bool echo = true;
  int messageFormat = 0;       // AT+CMGF: 0 PDU, 1 text
  int registrationReport = 0;  // AT+CREG: 2 adds the location to the answer of AT+CREG?
  int errorReport = 0;         // AT+CMEE: 0 ERROR, 1 a number, 2 words
};

struct Answer {
  std::string reply;             // ready to send, with its CR LF frame
  std::string smsDestination{};  // not empty: the reply is a prompt and the body of a message follows
};

// "\r\nERROR\r\n", for a line that is no command.
std::string errorReply();

// "\r\n+CMS ERROR: <code>\r\n"
std::string smsErrorReply(int code);

// "\r\n+CMGS: <reference>\r\n\r\nOK\r\n"
std::string smsAcceptedReply(int reference);

bool beginsWithAt(std::string_view line);

// Executes a line that begins with AT and comes without its CR. Unknown and malformed commands answer ERROR; a refused
// parameter of a known command answers as AT+CMEE asks.
Answer answerCommand(std::string_view line, const ModemOptions& options, Settings& settings);

}  // namespace orvix::simulator
