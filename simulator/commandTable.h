// What the files of the command set share: a request, its usual answers and the tables of each. Pure: any thread.
#pragma once

#include "simulator/commands.h"

#include <string>
#include <string_view>

namespace orvix::simulator {

struct Request {
  std::string_view argument;  // what follows the name: "", "?", "=?" or "=value"
  const ModemOptions& options;
  Settings& settings;
};

struct Command {
  std::string_view name;  // in upper case, without AT
  Answer (*execute)(const Request& request);
};

std::string upperCase(std::string_view text);  // ASCII letters alone

Answer ok();
Answer error();
Answer information(std::string_view text);  // the text, then OK

// As AT+CMEE asks.
Answer incorrectParameters(const Settings& settings);

// A list of values that the modem stores as they are given: decimal numbers, texts in quotes, commas.
Answer answerStored(const Request& request, std::string_view label, std::string& value, std::string_view range);

// The commands of 3GPP TS 27.005; null when there is none of that name.
const Command* findMessageCommand(std::string_view name);

}  // namespace orvix::simulator
