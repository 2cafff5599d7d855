// Why a line does not open, for people. One thread.
#pragma once

#include <string>
#include <vector>

namespace orvix::host {

// The device path of a connection string: what stands before the first ':'.
std::string pathOf(const std::string& connectionString);

// Looks at the device file of a connection string; one clause with cause and remedy, for example "/dev/ttyUSB0:
// Permission denied; join the group dialout". "" when the file opens, is a terminal, and nobody holds it.
std::string lineTrouble(const std::string& connectionString);

// Other processes that have the device open, locked or not, as "process 12 (picocom)", as far as this user may see.
std::vector<std::string> openersOf(const std::string& connectionString);

// Serial devices that a modem may be behind.
std::vector<std::string> serialDevices();

}  // namespace orvix::host
