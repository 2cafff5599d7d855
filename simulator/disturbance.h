// Chooses the fault of a command or body, and does to a reply what it says. One thread at a time.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "simulator/fault.h"

namespace orvix::simulator {

// Counts how often each fault was met, so that "the third AT+CMGS" can be said.
class FaultSelector {
 public:
  explicit FaultSelector(std::vector<Fault> listed);

  // Call it once for each command and body, for every call counts. The first fault on the list that fits and whose turn
  // it is, otherwise a fault without any effect. Commands fit in any mixture of cases, bodies byte for byte. Valid as
  // long as the selector.
  const Fault& select(Fault::Trigger trigger, std::string_view text);

 private:
  const std::vector<Fault> faults;
  std::vector<int> occurrences;  // by index of faults
};

// A part of a reply that leaves the modem at one moment.
struct ReplyPiece {
  std::int64_t afterMs;  // after the moment when the whole reply would have come
  std::string bytes;
};

// The reply, empty for none, as it leaves the modem, without the line that is lost: NUL bytes, garbage, unsolicited
// lines in front, the reply itself, unsolicited lines after it. Lines between stand in front of the last line of a
// reply that has several.
// In the order in which they leave, none of them empty. Delays and hang-ups of the fault are the modem's to follow.
std::vector<ReplyPiece> disturbed(const Fault& fault, const std::string& reply);

}  // namespace orvix::simulator
