// The result lines in what a modem sent (3GPP TS 27.005, ITU-T V.250). Pure functions; any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::hostkit {

enum class ResultKind {
  kOk,     // "OK"
  kError,  // "ERROR"
  kCms,    // "+CMS ERROR: N"
  kCme,    // "+CME ERROR: N"
  kCmgs,   // "+CMGS: N", followed by nothing or by a comma and more
};

struct ResultLine {
  ResultKind kind;
  std::optional<int> number;  // none for OK and ERROR, and where there is no decimal number
  std::string text;           // the line as it came
};

// Any result but OK and +CMGS:.
inline bool isError(const ResultLine& result) {
  return result.kind != ResultKind::kOk && result.kind != ResultKind::kCmgs;
}

// The lines that CR, LF or Ctrl-Z end, without empty ones. What the last end does not close is not there yet. Prompts
// ("> ") and blanks at either end do not count.
std::vector<std::string> linesOf(std::string_view bytes);

// The line as a result; none for any other line.
std::optional<ResultLine> resultOf(const std::string& line);

// Whether a final result is among the lines: OK, ERROR, +CMS ERROR or +CME ERROR. A modem that waits at its prompt
// gives none to any command, whether it echoes or not.
bool holdsFinalResult(std::string_view received);

}  // namespace orvix::hostkit
