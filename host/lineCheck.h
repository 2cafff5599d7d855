// Why a line does not open, for people. One thread.
#pragma once

#include <string>

namespace orvix::host {

// Looks at the device file of a connection string after an open has failed; one clause with the remedy where there is
// one, e.g. "/dev/ttyUSB0: Permission denied; join the group dialout". Never "" - the settings are what is left.
std::string explainLine(const std::string& connectionString);

}  // namespace orvix::host
