// How gsm-host ends, and the failure that carries it there. The numbers are promised to scripts. One thread.
#pragma once

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <utility>

namespace orvix::host {

// Keys stay in the order in which a command sets them, for people who read along.
using Json = nlohmann::ordered_json;

// 128 and the number of a signal when a signal ended the command, as shells have it.
// A number keeps its meaning from version to version; kUncertain alone says that trying again may send twice.
enum ExitCode : int {
  kDone = 0,
  // The plug-in cannot be loaded, or a fault of this program.
  kInternal = 1,
  kUsage = 2,
  kConfiguration = 3,  // the device refuses its configuration
  kLine = 4,           // the line cannot be opened; the text says why
  kModem = 5,          // the modem does not answer, or refuses
  kUncertain = 6,      // a message may have been sent
};

// Ends the program with one line on standard error, and with --json with a document on standard output.
// Thrown from any depth of a command; main() is the one that catches it.
class Failure : public std::runtime_error {
 public:
  // `moreFields` stand in that document beside the message and the exit code.
  // The message may hold foreign bytes: whoever prints it escapes them.
  Failure(ExitCode exitCode, const std::string& message, Json moreFields = Json::object())
      : std::runtime_error(message), code(exitCode), more(std::move(moreFields)) {}

  ExitCode exitCode() const { return code; }
  const Json& moreFields() const { return more; }

 private:
  ExitCode code;
  Json more;
};

}  // namespace orvix::host
