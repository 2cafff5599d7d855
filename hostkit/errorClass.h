// What follows from a modem's error, by its code (3GPP TS 27.005 3.2.5 and TS 27.007 9.2). Pure functions; any thread.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace orvix::hostkit {

// How an error result reads.
enum class ErrorKind {
  kNone,
  kWord,  // "ERROR", or an error in words instead of a code
  kCms,   // "+CMS ERROR: N"
  kCme,   // "+CME ERROR: N"
};

enum class ErrorClass {
  kMessage,  // this message will never go out
  kNetwork,  // nothing goes out until the modem is registered again
  kModem,    // SIM card or modem are out of service until they are seen to
  kChance,   // the next try may succeed
  kDoubt,    // the code does not tell whether the message is out
};

// Codes of +CMS ERROR that a modem uses in a way of its own.
using ClassOverrides = std::map<int, ErrorClass>;

// `isBeforeText`: the error answered AT+CMGS, before the text was written, so that nothing can be out: what would be a
// doubt is then a chance. A code that is not known, or none, is a doubt.
ErrorClass classOf(ErrorKind kind, std::optional<int> code, bool isBeforeText, const ClassOverrides& overrides = {});

// "message", "network", "modem", "chance", "doubt"; none for another word.
std::optional<ErrorClass> classNamed(const std::string& word);

}  // namespace orvix::hostkit
