// What a simulated modem does wrong, and when. Plain data; any thread may hold a copy.
//
// The members are the keys of docs/simulator.md, where each effect is described. Effects add up: a reply may be late,
// in pieces and with garbage in front. Times are milliseconds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace orvix::simulator {

// One fault: what it waits for, which occurrences suffer, and what happens to their replies.
// A list of them is read from its front: the first that fits decides, and nothing of the others is added.
struct Fault {
  enum class Trigger { kCommand, kBody };
  enum class LostLine { kNone, kFirst, kLast };

  // When. Occurrences count from 1, over the whole life of the modem.
  // A command is compared in any mixture of cases, a body byte for byte with its text in UTF-8.
  Trigger trigger = Trigger::kCommand;
  std::string pattern;                          // the whole command line or body, or its beginning and a "*"
  int from = 1;                                 // the first that suffers
  int count = std::numeric_limits<int>::max();  // how many do

  // What becomes of the reply. Without any of these it leaves as it is.
  // What the members below put around the reply is sent even so.
  bool isSilent = false;
  LostLine lostLine = LostLine::kNone;  // of a reply of several lines
  bool noPrompt = false;                // AT+CMGS: no prompt, and no body is taken
  // "+CMS ERROR: 500", or any other line: answered instead. A command is not executed then, a message not sent.
  std::string error;
  // A body is sent or not, whatever is answered; none: as the answer says.
  std::optional<bool> isSent;
  std::optional<bool> echo;              // from the reply on
  std::int64_t delayMs = 0;              // on top of the delays of ModemOptions
  std::optional<std::int64_t> hangUpMs;  // instead of the reply: how long the line is gone
  // Bytes that nobody asked for: NULs in front of everything, NULs in the middle of the reply, garbage before it.
  std::size_t nulsBefore = 0;
  std::size_t nulsInside = 0;
  std::string garbage;
  // Unsolicited result codes, without CR LF: before the reply, before its last line, after it.
  std::vector<std::string> linesBefore;
  std::vector<std::string> linesBetween;
  std::vector<std::string> linesAfter;
  // Everything in pieces of so many bytes, with so long a gap between two.
  std::size_t pieceSize = 0;  // bytes; 0: in one piece
  std::int64_t pieceGapMs = 0;
};

}  // namespace orvix::simulator
