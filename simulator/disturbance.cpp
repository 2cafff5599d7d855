#include "simulator/disturbance.h"

#include <utility>

#include "common/text.h"
#include "simulator/reply.h"

namespace orvix::simulator {
namespace {

bool fits(const Fault& fault, Fault::Trigger trigger, std::string_view text) {
  if (fault.trigger != trigger) {
    return false;
  }
  const bool isCommand = trigger == Fault::Trigger::kCommand;
  const std::string pattern = isCommand ? toUpper(fault.pattern) : fault.pattern;
  const std::string candidate = isCommand ? toUpper(std::string(text)) : std::string(text);
  if (pattern.empty() || pattern.back() != '*') {
    return candidate == pattern;
  }
  // Without the "*": only the beginning is compared.
  return candidate.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0;
}

std::string framedAll(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += framed(line);
  }
  return text;
}

// Where the frame of the last of several lines begins; npos when there is but one.
std::size_t lastLine(const std::string& reply) {
  // Each line has a CR LF of its own on both sides, so two pairs meet between lines.
  const std::size_t border = reply.rfind("\r\n\r\n");
  return border == std::string::npos ? border : border + 2;
}

std::string withoutLostLine(const std::string& reply, Fault::LostLine lost) {
  const std::size_t last = lastLine(reply);
  if (lost == Fault::LostLine::kNone || last == std::string::npos) {
    return reply;
  }
  return lost == Fault::LostLine::kFirst ? reply.substr(last) : reply.substr(0, last);
}

// The NULs stand in the middle of the reply as it was, wherever lines between are put: what lies further back is
// inserted first, so that the other place does not move.
std::string inside(const Fault& fault, std::string reply) {
  if (reply.empty()) {
    return reply;
  }
  const std::size_t middle = reply.size() / 2;
  const std::size_t last = lastLine(reply);
  const bool hasBetween = last != std::string::npos;
  if (hasBetween && last > middle) {
    reply.insert(last, framedAll(fault.linesBetween));
  }
  reply.insert(middle, fault.nulsInside, '\0');
  if (hasBetween && last <= middle) {
    reply.insert(last, framedAll(fault.linesBetween));
  }
  return reply;
}

}  // namespace

FaultSelector::FaultSelector(std::vector<Fault> listed) : faults(std::move(listed)), occurrences(faults.size()) {
}

const Fault& FaultSelector::select(Fault::Trigger trigger, std::string_view text) {
  static const Fault kNone;
  const Fault* chosen = &kNone;
  for (std::size_t i = 0; i < faults.size(); ++i) {
    const Fault& fault = faults[i];
    if (!fits(fault, trigger, text)) {
      continue;
    }
    // Counted for every fault that fits, also after the one that is chosen: "from" and "count" then mean the same in
    // whatever order the faults stand.
    const int turn = ++occurrences[i] - fault.from;
    if (chosen == &kNone && turn >= 0 && turn < fault.count) {
      chosen = &fault;
    }
  }
  return *chosen;
}

std::vector<ReplyPiece> disturbed(const Fault& fault, const std::string& reply) {
  // What surrounds a silent reply is sent all the same, so that a modem can answer with nothing else.
  const std::string bytes = std::string(fault.nulsBefore, '\0') + fault.garbage + framedAll(fault.linesBefore) +
                            inside(fault, fault.isSilent ? "" : withoutLostLine(reply, fault.lostLine)) +
                            framedAll(fault.linesAfter);
  const std::size_t size = fault.pieceSize == 0 ? bytes.size() : fault.pieceSize;
  std::vector<ReplyPiece> pieces;
  for (std::size_t begin = 0; begin < bytes.size(); begin += size) {
    pieces.push_back({static_cast<std::int64_t>(pieces.size()) * fault.pieceGapMs, bytes.substr(begin, size)});
  }
  return pieces;
}

}  // namespace orvix::simulator
