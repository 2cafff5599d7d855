// What a simulated modem does wrong, and when. Plain data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace orvix::simulator {

struct Fault {
  enum class Trigger { kCommand, kBody };
  enum class LostLine { kNone, kFirst, kLast };

  Trigger trigger = Trigger::kCommand;
  std::string pattern;  // the whole command line or body, or its beginning and a "*"
  int from = 1;         // the first occurrence that suffers, counted from 1
  int count = std::numeric_limits<int>::max();

  bool isSilent = false;                 // the reply is lost
  LostLine lostLine = LostLine::kNone;   // of a reply of several lines
  bool noPrompt = false;                 // AT+CMGS: no prompt, and no body is taken
  std::string error;                     // "+CMS ERROR: 500": answered instead; a command is not executed
  std::optional<bool> isSent;            // a body goes out or not, whatever is answered
  std::optional<bool> echo;              // from the reply on
  std::int64_t delayMs = 0;              // on top of the delays of ModemOptions
  std::optional<std::int64_t> hangUpMs;  // instead of the reply: how long the line is gone
  std::size_t nulsBefore = 0;
  std::size_t nulsInside = 0;            // in the middle of the reply
  std::string garbage;                   // bytes in front of the reply
  std::vector<std::string> linesBefore;  // unsolicited, without CR LF
  std::vector<std::string> linesBetween;
  std::vector<std::string> linesAfter;
  std::size_t pieceSize = 0;  // bytes; 0: in one piece
  std::int64_t pieceGapMs = 0;
};

}  // namespace orvix::simulator
