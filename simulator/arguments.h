// The command line of gsm-modem-simulator.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "simulator/modemOptions.h"
#include "simulator/tcpLine.h"

namespace orvix::simulator {

struct Arguments {
  ModemOptions modem;
  std::optional<TcpAddress> listen;  // none: a pseudo-terminal
  bool allowRemote = false;
  std::string link;
  bool isRenumbered = false;
  std::string messagesFile;
  std::string replayFile;  // empty: a modem instead of a recording
  bool verbose = false;
};

// Describes the options, which fill the arguments when the app parses; the arguments must outlive the app.
void describe(CLI::App& app, Arguments* arguments);

// What no single option shows. Throws CLI::ValidationError.
void check(const CLI::App& app, const Arguments& arguments);

// "AT, ATE0, AT+CSQ" and so on, in lines of a terminal's width.
std::string knownCommands();

// Throws std::runtime_error when the file cannot be read.
std::string contentOf(const std::string& path);

}  // namespace orvix::simulator
