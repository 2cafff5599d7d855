// Why a line does not open, or does not do what was asked, for people. Any thread.
//
// All texts are one clause with cause and remedy. Names of files and processes in them are as the system gives them:
// show them escaped.
#pragma once

#include <string>
#include <vector>

namespace orvix::hostkit {

// Looks at the device file of a connection string, for example "/dev/ttyUSB0: Permission denied; join the group
// dialout ...". "" when the file opens, is a terminal, and nobody holds it. The file is opened for a moment.
std::string lineTrouble(const std::string& connectionString);

// Whether a line that is open and configured runs at another speed than its connection string asks for, because its
// chip did not take it; "" when all is well or cannot be told.
std::string speedTrouble(const std::string& connectionString);

// Other processes that have the device open, locked or not, as "process 12 (picocom)", as far as this user may see.
std::vector<std::string> openersOf(const std::string& connectionString);

// What to do about such a process; "" for one that needs no advice but to end it.
std::string openerAdvice(const std::string& opener);

// Serial devices that a modem may be behind.
std::vector<std::string> serialDevices();

}  // namespace orvix::hostkit
