// What ends a client command before its time. One thread.
//
// It is thrown from any depth; main() prints the text, which may hold foreign bytes, escaped, and exits with the code.
#pragma once

#include <stdexcept>
#include <string>

#include "gateway/exitCode.h"

namespace orvix::gateway {

// One line for standard error, and the exit code.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode exitCode, const std::string& text) : std::runtime_error(text), code(exitCode) {}

  ExitCode exitCode() const { return code; }

 private:
  ExitCode code;
};

// A request went out, and what became of it is not known. Told apart, since a message may be sent again only with the
// id that it had.
class Unanswered final : public Failure {
 public:
  explicit Unanswered(const std::string& text) : Failure(kNotRunning, text) {}
};

}  // namespace orvix::gateway
