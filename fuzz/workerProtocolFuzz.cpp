// Any bytes as what the ends of a worker's socket say. The first byte tells who speaks.

#include "fuzz/fuzz.h"
#include "gateway/worker/attemptRecord.h"

namespace {

using namespace orvix::gateway;
using orvix::hostkit::Verdict;

const ModemConfig kModem;

template <typename Decode>
auto accepted(const Frame& frame, Decode&& decode) {
  auto message = decode(frame);
  fuzz::require(encoded(message) == bytesOf(frame), "what is accepted is what it would be written as");
  return message;
}

void listen(AttemptRecord* attempt, const FromWorker& message) {
  if (const auto* const traffic = std::get_if<TrafficNews>(&message)) {
    attempt->take(*traffic);
  } else if (std::holds_alternative<PromptNews>(message)) {
    attempt->takePrompt();
    fuzz::require(attempt->allow(), "a prompt can be answered");
  } else if (const auto* const end = std::get_if<EndNews>(&message)) {
    const Verdict verdict = attempt->end(*end).verdict;
    const bool isOut = verdict == Verdict::kSent || verdict == Verdict::kUncertain;
    fuzz::require(!isOut || attempt->allow(), "nothing is out without leave");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const bool isWorker = input.byte() % 2 == 0;
  FrameBuffer buffer;
  buffer.append(input.text(input.size()));
  AttemptRecord attempt({"id", 1, "+491701234567", "+CMGS: 1\nOK"}, &kModem);
  try {
    while (const std::optional<Frame> frame = buffer.next()) {
      if (isWorker) {
        listen(&attempt, accepted(*frame, fromWorkerOf));
      } else {
        accepted(*frame, toWorkerOf);
      }
    }
  } catch (const ProtocolError&) {
  }
  fuzz::require(!attempt.provenResult() || attempt.isSettled(), "what is proven stands behind the text");
  return 0;
}
