// What a worker tells, frame by frame.

#include "gateway/worker/workerProcessState.h"

namespace orvix::gateway {

void WorkerProcess::State::handleFrames(std::int64_t nowMs) {
  try {
    while (socket != -1 && !isKilled) {
      const std::optional<Frame> frame = incoming.next();
      if (!frame) {
        return;
      }
      std::visit([&](const auto& news) { take(news, nowMs); }, fromWorkerOf(*frame));
      endLineless(nowMs);
    }
  } catch (const ProtocolError& error) {
    end(std::string("the worker breaks the protocol: ") + error.what(), nowMs);
  }
}

// What belongs to an attempt proves a broken worker when there is none.
AttemptRecord& WorkerProcess::State::attemptOf(const char* news) {
  if (!running) {
    throw ProtocolError(std::string(news) + " of no attempt");
  }
  return *running;
}

void WorkerProcess::State::take(const StateNews& news, std::int64_t /*nowMs*/) {
  if (news.state == ModemState::kReady) {
    delayMs = kFirstRestartMs;
    // A modem that is ready answers, unless it is attempting just now.
    mayWaitAtPrompt = mayWaitAtPrompt && running;
  }
  listener->onState(config.name, news.state, news.reason);
}

void WorkerProcess::State::take(const ModemReport& report, std::int64_t /*nowMs*/) {
  listener->onReport(config.name, report);
}

void WorkerProcess::State::take(const DoingNews& news, std::int64_t nowMs) {
  callMs = news.isCall ? std::optional(nowMs) : std::nullopt;
  if (doing != news.doing) {
    doing = news.doing;
    listener->onDoing(config.name, doing);
  }
}

void WorkerProcess::State::take(const TrafficNews& news, std::int64_t /*nowMs*/) {
  attemptOf("traffic").take(news);
}

void WorkerProcess::State::take(const PromptNews& /*news*/, std::int64_t /*nowMs*/) {
  AttemptRecord& attempt = attemptOf("a prompt");
  // The text waits for the commit of the mark; without an answer the worker ends by itself.
  attempt.takePrompt();
  listener->onPrompt(config.name, attempt.order().id, attempt.order().number);
}

void WorkerProcess::State::take(const EndNews& news, std::int64_t /*nowMs*/) {
  const AttemptResult result = attemptOf("an end").end(news);
  const AttemptOrder order = running->order();
  // Before the listener is called: it may order the next attempt.
  running.reset();
  // Only an attempt that ended without the text can have left the modem at its prompt.
  mayWaitAtPrompt = result.verdict == hostkit::Verdict::kNotSent;
  listener->onAttemptEnded(config.name, order.id, order.number, result);
}

void WorkerProcess::State::take(const HealedNews& /*news*/, std::int64_t /*nowMs*/) {
  mayWaitAtPrompt = false;
  listener->onHealed(config.name);
}

void WorkerProcess::State::take(const ReconnectedNews& /*news*/, std::int64_t /*nowMs*/) {
  wasLineLost = false;
  listener->onReconnected(config.name);
}

void WorkerProcess::State::take(const LineLostNews& /*news*/, std::int64_t /*nowMs*/) {
  isLineLost = true;
}

// A call may go on for half a minute without its line: another process is there when that comes back. Between the leave
// to write the text and its end, only the call itself knows how much was written.
void WorkerProcess::State::endLineless(std::int64_t nowMs) {
  if (isLineLost && socket != -1 && (!running || running->isSettled())) {
    wasLineLost = true;
    end("the line hung up", nowMs);
  }
}

}  // namespace orvix::gateway
