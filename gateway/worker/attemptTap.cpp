#include "gateway/worker/attemptTap.h"

#include <unistd.h>

#include <algorithm>

namespace orvix::gateway {
namespace {

// A commit takes far less, also to a slow card; a supervisor that is stuck must not hold the modem at its prompt.
constexpr int kGoAheadWaitMs = 5000;
constexpr int kNotAllowed = 2;

}  // namespace

void AttemptTap::begin(bool isAttempt) {
  pieces.clear();
  receivedBytes = 0;
  isStreaming = isAttempt;
  isNumberGiven = false;
  isAllowed = false;
}

std::string AttemptTap::received() const {
  return hostkit::bytesOf(pieces, kXplTraceReceived);
}

bool AttemptTap::hasSent() const {
  return std::any_of(pieces.begin(), pieces.end(),
                     [](const hostkit::TrafficPiece& piece) { return piece.kind == kXplTraceSent; });
}

void AttemptTap::onTraffic(const hostkit::TrafficPiece& piece) {
  if (piece.kind == kXplTraceReceived) {
    receivedBytes += piece.bytes.size();
  }
  // Sent bytes are ours and few; a modem that never stops talking is cut off here.
  if (piece.kind != kXplTraceReceived || receivedBytes <= kMostTrafficBytes) {
    pieces.push_back(piece);
    if (isStreaming) {
      link->send(TrafficNews{piece.us, piece.kind, piece.bytes});
    }
  }
  if (isStreaming && isPrompt(piece)) {
    // After the traffic that holds the prompt: the supervisor's record is complete when it is asked.
    link->send(PromptNews{});
    // Ended here, the process cannot write the text; the next one sends an Escape first.
    if (!link->waitForGoAhead(kGoAheadWaitMs)) {
      _exit(kNotAllowed);
    }
    isAllowed = true;
  }
}

// The plug-in writes the text once a '>' stands anywhere in what it read after AT+CMGS. Only the first may be asked
// for: the text itself may bring more in its echo.
bool AttemptTap::isPrompt(const hostkit::TrafficPiece& piece) {
  if (piece.kind == kXplTraceSent) {
    isNumberGiven = isNumberGiven || piece.bytes.rfind("AT+CMGS=", 0) == 0;
    return false;
  }
  return isNumberGiven && !isAllowed && piece.kind == kXplTraceReceived && piece.bytes.find('>') != std::string::npos;
}

}  // namespace orvix::gateway
