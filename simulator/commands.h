// The command set as a pure function: command line in, reply out. It opens, waits for and remembers nothing, so any
// number of threads may call it, each with settings of its own.
//
// One command per line, any mixture of cases. The modem stores no messages, so +CPMS and its kin answer ERROR.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "simulator/modemOptions.h"
#include "simulator/reply.h"
#include "simulator/settings.h"

namespace orvix::simulator {

// "\r\n+CMGS: <reference>\r\n\r\nOK\r\n"
std::string acceptedReply(int reference);

// The unsolicited "\r\n+CREG: <stat>\r\n" of a change, as AT+CREG asks; empty when it asks for none.
std::string registrationChange(const ModemOptions& options, const Settings& settings);

// In any mixture of cases, as ITU-T V.250 allows "AT" and "at".
bool beginsWithAt(std::string_view line);

// Executes a line that begins with AT and comes without its CR, and keeps in `settings` what it changes. Unknown and
// malformed commands answer ERROR; a refused parameter of a known command answers as AT+CMEE asks.
Answer answerCommand(std::string_view line, const ModemOptions& options, Settings* settings);

// All that are understood, "AT+CSQ".
std::vector<std::string> commandNames();

}  // namespace orvix::simulator
