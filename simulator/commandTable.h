// The tables of the command set and what their functions share. Pure: any thread, each with settings of its own.
//
// A command is one row: the parser finds it by its name and hands it what follows the name, so that each function sees
// the four forms of the standard (execute, read, test, set) as one argument.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "simulator/modemOptions.h"
#include "simulator/reply.h"
#include "simulator/settings.h"

namespace orvix::simulator {

// A command line that was found in a table; everything is borrowed for the call.
struct Request {
  std::string_view name;      // in upper case, without AT
  std::string_view argument;  // what follows the name: "", "?", "=?" or "=value"
  const ModemOptions& options;
  Settings* settings;  // borrowed
};

// needsSim: without a ready SIM card the command answers +CME ERROR before it is executed.
// The order of a table is that of the help. A name is found as a whole: a longer one that begins with it is another
// row.
struct Command {
  std::string_view name;  // in upper case, without AT
  bool needsSim;
  Answer (*execute)(const Request& request);
};

// ITU-T V.250 and 3GPP TS 27.007; 3GPP TS 27.005. Both live as long as the program.
const std::vector<Command>& generalCommands();
const std::vector<Command>& messageCommands();

// "<name>: <text>", then OK.
Answer labelled(const Request& request, const std::string& text);

// A number of one digit from 0 to `largest`, in all its forms; `details` follow the value that is asked for. Other
// values answer as AT+CMEE asks, no value at all answers ERROR.
Answer numberSetting(const Request& request, int Settings::*value, int largest, const std::string& details = {});

// A list of values that the modem stores as they are given: decimal numbers, texts in quotes, commas.
Answer storedSetting(const Request& request, std::string Settings::*value, const std::string& range);

// <stat> of AT+CREG, with the location where it is known and asked for.
std::string registrationText(const ModemOptions& options, const Settings& settings);

}  // namespace orvix::simulator
