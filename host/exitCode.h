// How gsm-host ends, and the failure that carries it there. One thread.
#pragma once

#include <stdexcept>
#include <string>

namespace orvix::host {

enum ExitCode : int {
  kDone = 0,
  kInternal = 1,  // the plug-in cannot be loaded, or a fault of this program
  kUsage = 2,
  kConfiguration = 3,  // the device refuses its configuration
  kLine = 4,           // the line cannot be opened
  kModem = 5,          // the modem does not answer, or refuses
};

// Ends the program with one line on standard error.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode exitCode, const std::string& message) : std::runtime_error(message), code(exitCode) {}

  ExitCode exitCode() const { return code; }

 private:
  ExitCode code;
};

}  // namespace orvix::host
