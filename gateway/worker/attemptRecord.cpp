#include "gateway/worker/attemptRecord.h"

#include <utility>

#include "gateway/worker/attemptResult.h"
#include "hostkit/recording.h"

namespace orvix::gateway {
namespace {

// The plug-in reads 128 bytes at a time, and few where they come slowly.
constexpr std::size_t kMostPieces = 4096;

}  // namespace

std::string AttemptRecord::recording() const {
  return hostkit::recordingOf(traffic, modem->line);
}

// hasReturned is false: the worker may have written after the last piece that came over.
hostkit::Judgement AttemptRecord::judgement() const {
  return hostkit::judge(traffic, made.text, false, modem->okIsSent, modem->codes);
}

void AttemptRecord::take(const TrafficNews& news) {
  trafficBytes += news.bytes.size();
  if (trafficBytes <= kMostTrafficBytes && traffic.size() < kMostPieces) {
    // What comes beyond the limits is left out: the modem's result stands at the beginning of what it says.
    traffic.push_back({news.us, news.kind, news.bytes});
  }
}

void AttemptRecord::takePrompt() {
  if (std::exchange(isAsked, true)) {
    throw ProtocolError("a second prompt");
  }
}

// Without leave no text was written, so nothing can be out; with its Ctrl-Z in the traffic it may be.
AttemptResult AttemptRecord::end(const EndNews& news) const {
  const hostkit::Verdict verdict = news.result.verdict;
  if (!isAllowed && (verdict == hostkit::Verdict::kSent || verdict == hostkit::Verdict::kUncertain)) {
    throw ProtocolError("an end that nobody allowed");
  }
  if (verdict == hostkit::Verdict::kNotSent && judgement().isTextWritten) {
    throw ProtocolError("not sent, though the text is out");
  }
  AttemptResult result = news.result;
  result.recording = recording();
  return result;
}

bool AttemptRecord::allow() {
  isAllowed = isAsked;
  return isAllowed;
}

bool AttemptRecord::isSettled() const {
  return !isAllowed || judgement().isTextWritten;
}

std::optional<AttemptResult> AttemptRecord::provenResult() const {
  const hostkit::Judgement shown = judgement();
  if (shown.verdict != hostkit::Verdict::kSent && shown.verdict != hostkit::Verdict::kRefused) {
    return std::nullopt;
  }
  AttemptResult result = resultOf(shown, modem->codes);
  result.recording = recording();
  return result;
}

}  // namespace orvix::gateway
