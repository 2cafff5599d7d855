#include "simulator/modem.h"

#include <algorithm>
#include <utility>

#include "simulator/gsmAlphabet.h"
#include "simulator/smsSubmit.h"

namespace orvix::simulator {
namespace {

constexpr char kCtrlZ = 0x1A;
constexpr char kEscape = 0x1B;

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

Modem::Modem(const ModemOptions& initialOptions) : options(initialOptions), faults(initialOptions.faults) {
  restoreSettings();
}

void Modem::restoreSettings() {
  settings = Settings{};
  settings.echo = options.echo;
}

void Modem::onMessage(MessageHandler handler) {
  messageHandler = std::move(handler);
}

void Modem::onTrace(TraceHandler handler) {
  traceHandler = std::move(handler);
}

void Modem::receive(std::string_view bytes, std::int64_t nowMs) {
  walk(nowMs);
  if (!isOnLine()) {
    return;
  }
  for (const char byte : bytes) {
    switch (state) {
      case State::kCommand:
        takeCommandByte(byte, nowMs);
        break;
      case State::kBody:
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
  trace(Direction::kToModem, line);
  if (beginsWithAt(line)) {
    execute(line, nowMs);
  }
}

void Modem::execute(const std::string& line, std::int64_t nowMs) {
  if (line.size() > kMaxLineLength) {
    return reply(error().reply, nowMs);
  }
  const Fault& fault = faults.select(Fault::Trigger::kCommand, line);
  Answer answer = fault.error.empty() ? answerCommand(line, options, settings) : Answer{framed(fault.error)};
  settings.echo = fault.echo.value_or(settings.echo);
  if (answer.submission && (fault.noPrompt || options.smsOutcome == SmsOutcome::kNoPrompt)) {
    answer = {};
  }
  if (answer.submission) {
    submission = *std::move(answer.submission);
    state = State::kBody;
  }
  reply(answer.reply, nowMs, fault);
}

void Modem::endBody(std::int64_t nowMs) {
  state = State::kCommand;
  const std::string body = std::exchange(input, {});
  trace(Direction::kToModem, body + kCtrlZ);
  std::optional<Message> message = messageOf(body);
  if (!message) {
    const bool isText = submission.mode == MessageMode::kText;
    return reply(messageError(isText ? kInvalidTextModeParameter : kInvalidPduModeParameter).reply, nowMs);
  }
  const Fault& fault = faults.select(Fault::Trigger::kBody, message->text);
  settings.echo = fault.echo.value_or(settings.echo);
  const std::string result = sendResult(*message, fault);
  keep(*std::move(message));
  reply(result, nowMs, fault);
}

std::optional<Message> Modem::messageOf(const std::string& body) const {
  if (body.size() > kMaxBodyLength) {
    return std::nullopt;
  }
  if (submission.mode == MessageMode::kText) {
    const bool isGsm = settings.characterSet == "\"GSM\"";
    return Message{submission.destination, utf8OfGsm(isGsm ? septetsOfGsmText(body) : septetsOfIraText(body))};
  }
  const std::optional<SmsSubmit> submit = decodeSubmit(body, submission.pduOctets);
  return submit ? std::optional<Message>({submit->number, submit->text, MessageMode::kPdu}) : std::nullopt;
}

void Modem::abandonBody(std::int64_t nowMs) {
  state = State::kCommand;
  trace(Direction::kToModem, std::exchange(input, {}) + kEscape);
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

std::string Modem::sendResult(Message& message, const Fault& fault) {
  if (!fault.error.empty()) {
    return framed(fault.error);
  }
  switch (options.smsOutcome) {
    case SmsOutcome::kAccepted:
      message.reference = ++messageReference;
      return acceptedReply(*message.reference);
    case SmsOutcome::kRefused:
      return messageError(options.smsErrorCode).reply;
    case SmsOutcome::kSilent:
    case SmsOutcome::kNoPrompt:
      break;
  }
  return {};
}

void Modem::echo(char byte, std::int64_t nowMs) {
  if (settings.echo) {
    queue({&byte, 1}, nowMs);
  }
}

void Modem::reply(const std::string& bytes, std::int64_t nowMs, const Fault& fault) {
  const std::int64_t dueMs = nowMs + options.replyDelayMs + fault.delayMs;
  if (fault.hangUpMs) {
    outputs.push_back({lastDueMs(dueMs), {}, fault.hangUpMs});
    return;
  }
  std::string whole;
  for (const ReplyPiece& piece : disturbed(fault, bytes)) {
    queue(piece.bytes, dueMs + piece.afterMs);
    whole += piece.bytes;
  }
  if (!whole.empty()) {
    trace(Direction::kFromModem, whole);
  }
}

// Output keeps its order: an echo never overtakes a reply that is still to come.
void Modem::queue(std::string_view bytes, std::int64_t dueMs) {
  if (pendingBytes + bytes.size() > kMaxPendingOutput) {
    return;
  }
  pendingBytes += bytes.size();
  if (outputs.empty() || outputs.back().dueMs < dueMs || outputs.back().hangUpMs) {
    outputs.push_back({lastDueMs(dueMs), {}});
  }
  outputs.back().bytes += bytes;
}

std::int64_t Modem::lastDueMs(std::int64_t dueMs) const {
  return outputs.empty() ? dueMs : std::max(dueMs, outputs.back().dueMs);
}

std::string Modem::takeOutput(std::int64_t nowMs) {
  walk(nowMs);
  if (returnMs && *returnMs <= nowMs) {
    returnMs.reset();
    return {};
  }
  std::string due;
  while (!outputs.empty() && outputs.front().dueMs <= nowMs) {
    const Output output = std::move(outputs.front());
    outputs.pop_front();
    due += output.bytes;
    pendingBytes -= output.bytes.size();
    if (output.hangUpMs) {
      hangUp(output.dueMs + *output.hangUpMs);
    }
  }
  return due;
}

void Modem::hangUp(std::int64_t untilMs) {
  returnMs = untilMs;
  outputs.clear();
  pendingBytes = 0;
  input.clear();
  state = State::kCommand;
  restoreSettings();
}

bool Modem::isOnLine() const {
  return !returnMs;
}

void Modem::walk(std::int64_t nowMs) {
  for (; stepsWalked < options.walk.size() && options.walk[stepsWalked].ms <= nowMs; ++stepsWalked) {
    const WalkStep& step = options.walk[stepsWalked];
    options.rssi = step.rssi.value_or(options.rssi);
    if (step.registration && *step.registration != std::exchange(options.registration, *step.registration) &&
        isOnLine()) {
      queue(registrationChange(options, settings), step.ms);
    }
  }
}

std::optional<std::int64_t> Modem::nextDueMs() const {
  if (returnMs) {
    return returnMs;
  }
  const bool reportsWalk = settings.registrationReport != 0 && stepsWalked < options.walk.size();
  if (outputs.empty()) {
    return reportsWalk ? std::optional(options.walk[stepsWalked].ms) : std::nullopt;
  }
  const std::int64_t dueMs = outputs.front().dueMs;
  return reportsWalk ? std::min(dueMs, options.walk[stepsWalked].ms) : dueMs;
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
