// The command line of gsm-modem-simulator: its options, and what no option alone can check. One thread at a time.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "simulator/modemOptions.h"
#include "simulator/tcpLine.h"

namespace orvix::simulator {

// What the options say; the defaults are those of a modem that works.
struct Arguments {
  ModemOptions modem;
  std::optional<TcpAddress> listen;  // none: a pseudo-terminal
  bool allowRemote = false;
  // Path of the symbolic link to the pseudo-terminal; empty: none.
  std::string link;
  // After an unplug the terminal has another number for certain.
  bool isRenumbered = false;
  // File that every sent message is appended to; empty: none.
  std::string messagesFile;
  std::string replayFile;  // empty: a modem instead of a recording
  bool verbose = false;
};

// Describes the options, which fill the arguments when the app parses; the arguments must outlive the app.
// Options take effect in the order of the help: those after --scenario overrule what the file says.
void describe(CLI::App& app, Arguments* arguments);

// What no single option shows: options that exclude each other, and an address that others can reach. Call it after the
// app has parsed. Throws CLI::ValidationError.
void check(const CLI::App& app, const Arguments& arguments);

// "AT, ATE0, AT+CSQ" and so on, in lines of a terminal's width.
std::string knownCommands();

// The whole file, bytes as they are. Throws std::runtime_error when it cannot be read.
// Meant for scenarios and recordings: it takes as much memory as the file is long.
std::string contentOf(const std::string& path);

}  // namespace orvix::simulator
