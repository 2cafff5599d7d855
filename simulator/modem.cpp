#include "simulator/modem.h"

#include <utility>

namespace orvix::simulator {
namespace {

constexpr char kCtrlZ = 0x1A;
constexpr char kEscape = 0x1B;
constexpr int kInvalidTextModeParameter = 305;

bool isControl(char byte) {
  return static_cast<unsigned char>(byte) < 0x20;
}

// One byte above the limit is kept: its presence says that the input was too long.
void appendBounded(std::string& text, char byte, std::size_t limit) {
  if (text.size() <= limit) {
    text += byte;
  }
}

}  // namespace

Modem::Modem(const ModemOptions& initialOptions) : options(initialOptions) {
  settings.echo = options.echo;
}

void Modem::onMessage(MessageHandler handler) {
  messageHandler = std::move(handler);
}

void Modem::onTrace(TraceHandler handler) {
  traceHandler = std::move(handler);
}

void Modem::receive(std::string_view bytes, std::int64_t nowMs) {
  for (const char byte : bytes) {
    switch (state) {
      case State::command:
        takeCommandByte(byte, nowMs);
        break;
      case State::body:
        takeBodyByte(byte, nowMs);
        break;
    }
  }
}

void Modem::takeCommandByte(char byte, std::int64_t nowMs) {
  if (byte == '\r') {
    return endLine(nowMs);
  }
  if (isControl(byte)) {
    return;
  }
  echo(byte, nowMs);
  appendBounded(input, byte, kMaxLineLength);
}

void Modem::takeBodyByte(char byte, std::int64_t nowMs) {
  if (byte == kCtrlZ) {
    return endBody(nowMs);
  }
  if (byte == kEscape) {
    return abandonBody(nowMs);
  }
  echo(byte, nowMs);
  appendBounded(input, byte, kMaxBodyLength);
}

void Modem::endLine(std::int64_t nowMs) {
  if (input.empty()) {
    return;
  }
  echo('\r', nowMs);
  const std::string line = std::exchange(input, {});
  trace(Direction::toModem, line);
  if (beginsWithAt(line)) {
    execute(line, nowMs);
  }
}

void Modem::execute(const std::string& line, std::int64_t nowMs) {
  if (line.size() > kMaxLineLength) {
    return reply(errorReply(), nowMs);
  }
  Answer answer = answerCommand(line, options, settings);
  if (!answer.smsDestination.empty()) {
    if (options.smsOutcome == SmsOutcome::noPrompt) {
      return;
    }
    destination = std::move(answer.smsDestination);
    state = State::body;
  }
  reply(answer.reply, nowMs);
}

void Modem::endBody(std::int64_t nowMs) {
  state = State::command;
  std::string text = std::exchange(input, {});
  trace(Direction::toModem, text + kCtrlZ);
  if (text.size() > kMaxBodyLength) {
    return reply(smsErrorReply(kInvalidTextModeParameter), nowMs);
  }
  keep({destination, std::move(text)});
  reply(sendResult(), nowMs);
}

void Modem::abandonBody(std::int64_t nowMs) {
  state = State::command;
  trace(Direction::toModem, std::exchange(input, {}) + kEscape);
  reply("\r\nOK\r\n", nowMs);
}

void Modem::keep(Message message) {
  if (received.size() == kMaxMessages) {
    received.pop_front();
  }
  received.push_back(std::move(message));
  if (messageHandler) {
    messageHandler(received.back());
  }
}

std::string Modem::sendResult() {
  switch (options.smsOutcome) {
    case SmsOutcome::accepted:
      return smsAcceptedReply(++messageReference);
    case SmsOutcome::refused:
      return smsErrorReply(options.smsErrorCode);
    case SmsOutcome::silent:
    case SmsOutcome::noPrompt:
      break;
  }
  return {};
}

void Modem::echo(char byte, std::int64_t nowMs) {
  if (settings.echo) {
    queue({&byte, 1}, nowMs);
  }
}

void Modem::reply(const std::string& bytes, std::int64_t nowMs) {
  if (bytes.empty()) {
    return;
  }
  trace(Direction::fromModem, bytes);
  queue(bytes, nowMs + options.replyDelayMs);
}

// Output keeps its order: an echo never overtakes a reply that is still to come.
void Modem::queue(std::string_view bytes, std::int64_t dueMs) {
  if (pendingBytes + bytes.size() > kMaxPendingOutput) {
    return;
  }
  pendingBytes += bytes.size();
  if (outputs.empty() || outputs.back().dueMs < dueMs) {
    outputs.push_back({dueMs, {}});
  }
  outputs.back().bytes += bytes;
}

std::string Modem::takeDue(std::int64_t nowMs) {
  std::string due;
  while (!outputs.empty() && outputs.front().dueMs <= nowMs) {
    due += outputs.front().bytes;
    outputs.pop_front();
  }
  pendingBytes -= due.size();
  return due;
}

std::optional<std::int64_t> Modem::nextDueMs() const {
  if (outputs.empty()) {
    return std::nullopt;
  }
  return outputs.front().dueMs;
}

const std::deque<Message>& Modem::messages() const {
  return received;
}

void Modem::trace(Direction direction, std::string_view bytes) const {
  if (traceHandler) {
    traceHandler(direction, bytes);
  }
}

}  // namespace orvix::simulator
