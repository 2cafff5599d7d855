// Whether a number and a text arrive as they are written. Pure functions; any thread.
#pragma once

#include <string>

namespace orvix::hostkit {

// The character set that a modem takes texts in (AT+CSCS). The plug-in does not set it.
enum class Charset {
  kIra,  // ASCII: everything but the backquote has a place in the GSM alphabet; ^{}[]~|\ take two septets there
  kGsm,  // the GSM alphabet's own codes: @$_^{}[]~|\ stand for other characters and do not arrive
};

inline constexpr int kLongestText = 160;  // septets of one message

struct Fit {
  std::string problem;     // one clause for people; "" when fit
  int septets = 0;         // that the text takes; of a text with characters that do not arrive the others alone
  bool isTooLong = false;  // and nothing else is wrong with the text

  bool isFit() const { return problem.empty(); }
};

// A number: "+" or none, then 3 to 20 digits.
Fit numberFit(const std::string& number);

// A text of 1 to 160 septets, of printable ASCII that the charset carries and line feeds. No line may begin as a
// modem's result of sending does ("+CMGS:", "+CMS ERROR:", "+CME ERROR:"): echoed, it could not be told from one.
// A text with several faults tells the first that is met: empty, a character, a line that reads as a result, its
// length.
Fit textFit(const std::string& text, Charset charset);

}  // namespace orvix::hostkit
