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
void appendBounded(std::string* text, char byte, std::size_t limit) {
  if (text->size() <= limit) {
    *text += byte;
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
  // Without power nothing is received.
  if (absence) {
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
  // Line feeds after a CR, and whatever a client sends to a prompt that is not there.
  if (isControl(byte)) {
    return;
  }
  echo(byte, nowMs);
  appendBounded(&input, byte, kMaxLineLength);
}

void Modem::takeBodyByte(char byte, std::int64_t nowMs) {
  if (byte == kCtrlZ) {
    return endBody(nowMs);
  }
  if (byte == kEscape) {
    return abandonBody(nowMs);
  }
  echoText(byte, nowMs);
  if (byte == '\r' && options.promptsEachLine) {
    outputs.add(kPrompt, nowMs);
  }
  appendBounded(&input, byte, kMaxBodyLength);
}

void Modem::endLine(std::int64_t nowMs) {
  if (input.empty()) {
    return;
  }
  echo('\r', nowMs);
  // Emptied first: a handler of the trace sees a modem that is ready for the next line.
  const std::string line = std::exchange(input, {});
  trace(Direction::kToModem, line);
  // Any other line gets no answer, as a modem that waits for its "AT" gives none.
  if (beginsWithAt(line)) {
    execute(line, nowMs);
  }
}

void Modem::execute(const std::string& line, std::int64_t nowMs) {
  if (line.size() > kMaxLineLength) {
    // No fault is asked for: what was cut off is no command that one could be meant for.
    return reply(error().reply, nowMs);
  }
  // Chosen before the command is executed, for an error keeps it from being so.
  const Fault& fault = faults.select(Fault::Trigger::kCommand, line);
  Answer answer = fault.error.empty() ? answerCommand(line, options, &settings) : Answer{framed(fault.error)};
  settings.echo = fault.echo.value_or(settings.echo);
  // Without a prompt no body follows: what comes is the next command.
  if (answer.submission && (fault.noPrompt || options.smsOutcome == SmsOutcome::kNoPrompt)) {
    answer = {};
  }
  if (answer.submission) {
    submission = *std::move(answer.submission);
    state = State::kBody;
    // From now on: a client that does not wait for the prompt may send the body before it is out.
    nowMs += options.promptDelayMs;
  }
  reply(answer.reply, nowMs, fault);
}

void Modem::endBody(std::int64_t nowMs) {
  state = State::kCommand;
  const std::string body = std::exchange(input, {});
  trace(Direction::kToModem, body + kCtrlZ);
  const std::int64_t doneMs = nowMs + options.resultDelayMs;
  std::optional<Message> message = messageOf(body);
  if (!message) {
    const bool isText = submission.mode == MessageMode::kText;
    return reply(messageError(isText ? kInvalidTextModeParameter : kInvalidPduModeParameter).reply, doneMs);
  }
  // By the text as the network would carry it, so that a fault means the same in both modes.
  const Fault& fault = faults.select(Fault::Trigger::kBody, message->text);
  settings.echo = fault.echo.value_or(settings.echo);
  const std::string result = sendResult(&*message, fault);
  keep(*std::move(message));
  reply(result, doneMs, fault);
}

std::optional<Message> Modem::messageOf(const std::string& body) const {
  if (body.size() > kMaxBodyLength) {
    return std::nullopt;
  }
  if (submission.mode == MessageMode::kText) {
    const std::optional<std::string> text = textOf(body);
    return text ? std::optional<Message>({submission.destination, *text}) : std::nullopt;
  }
  const std::optional<SmsSubmit> submit = decodeSubmit(body, submission.pduOctets);
  return submit ? std::optional<Message>({submit->number, submit->text, MessageMode::kPdu}) : std::nullopt;
}

// None when it does not fit into one message.
std::optional<std::string> Modem::textOf(const std::string& body) const {
  const bool isGsm = settings.characterSet == "\"GSM\"";
  const std::string septets = isGsm ? septetsOfGsmText(body) : septetsOfIraText(body);
  if (septets.size() > kMaxTextSeptets && !options.cutsLongText) {
    return std::nullopt;
  }
  return utf8OfGsm(septets.substr(0, kMaxTextSeptets));
}

void Modem::abandonBody(std::int64_t nowMs) {
  state = State::kCommand;
  trace(Direction::kToModem, std::exchange(input, {}) + kEscape);
  // A message that was given up is no error.
  reply("\r\nOK\r\n", nowMs);
}

// The oldest goes, for a modem may run for weeks.
void Modem::keep(Message message) {
  if (received.size() == kMaxMessages) {
    received.pop_front();
  }
  received.push_back(std::move(message));
  if (messageHandler) {
    messageHandler(received.back());
  }
}

std::string Modem::sendResult(Message* message, const Fault& fault) {
  const bool isServed = isRegistered(options.registration);
  const bool isAccepted = fault.error.empty() && isServed && options.smsOutcome == SmsOutcome::kAccepted;
  const bool isSent = fault.isSent.value_or(isAccepted);
  // A reference that is told is used up, whether the message went out or not. It counts to 255 and begins again.
  if (isSent || isAccepted) {
    ++messageReference;
  }
  if (isSent) {
    message->reference = messageReference;
  }
  if (!fault.error.empty()) {
    return framed(fault.error);
  }
  if (!isServed) {
    return messageError(kNoNetworkService).reply;
  }
  switch (options.smsOutcome) {
    case SmsOutcome::kAccepted:
      return acceptedReply(messageReference);
    case SmsOutcome::kRefused:
      return messageError(options.smsErrorCode).reply;
    case SmsOutcome::kSilent:
    // No body comes to a modem that gives no prompt.
    case SmsOutcome::kNoPrompt:
      break;
  }
  return {};
}

void Modem::echo(char byte, std::int64_t nowMs) {
  if (settings.echo) {
    outputs.add({&byte, 1}, nowMs);
  }
}

void Modem::echoText(char byte, std::int64_t nowMs) {
  if (options.textEcho.value_or(settings.echo)) {
    outputs.add({&byte, 1}, nowMs);
  }
}

void Modem::reply(const std::string& bytes, std::int64_t nowMs, const Fault& fault) {
  const std::int64_t dueMs = nowMs + options.replyDelayMs + fault.delayMs;
  if (fault.hangUpMs) {
    return outputs.addHangUp(dueMs, *fault.hangUpMs);
  }
  std::string whole;
  for (const ReplyPiece& piece : disturbed(fault, bytes)) {
    outputs.add(piece.bytes, dueMs + piece.afterMs);
    whole += piece.bytes;
  }
  if (!whole.empty()) {
    trace(Direction::kFromModem, whole);
  }
}

// A hang-up and the return from it each end a call, so that whoever holds the line sees both.
std::string Modem::takeOutput(std::int64_t nowMs) {
  walk(nowMs);
  if (!absence) {
    // What was due before the hang-up is still handed over; isUp falls with the same call, absence tells until when.
    const OutputQueue::Due due = outputs.take(nowMs);
    if (due.returnMs) {
      hangUp({*due.hungUpMs, *due.returnMs});
      isUp = false;
    }
    return due.bytes;
  }
  if (!isUp && absence->endMs <= nowMs) {
    absence.reset();
  }
  isUp = !absence;
  return {};
}

void Modem::hangUp(const Absence& wanted) {
  absence = wanted;
  unplug();
}

void Modem::unplug() {
  outputs.clear();
  input.clear();
  state = State::kCommand;
  restoreSettings();
}

bool Modem::isOnLine() const {
  return isUp;
}

void Modem::walk(std::int64_t nowMs) {
  // Several may be due at once, when nobody asked for a while: none is left out.
  for (; stepsWalked < options.walk.size() && options.walk[stepsWalked].ms <= nowMs; ++stepsWalked) {
    const WalkStep& step = options.walk[stepsWalked];
    options.rssi = step.rssi.value_or(options.rssi);
    options.sim = step.sim.value_or(options.sim);
    if (step.registration && *step.registration != std::exchange(options.registration, *step.registration) &&
        !absence) {
      // Due at the step's own time, though it is noticed later: a slow loop changes nothing of the order.
      outputs.add(registrationChange(options, settings), step.ms);
    }
    if (step.unplugMs) {
      hangUp({step.ms, step.ms + *step.unplugMs});
    }
  }
}

std::optional<std::int64_t> Modem::nextDueMs() const {
  // While the hang-up is still to be shown, its begin is due; then its end.
  if (absence) {
    return isUp ? absence->beginMs : absence->endMs;
  }
  const std::optional<std::int64_t> dueMs = outputs.nextDueMs();
  if (stepsWalked == options.walk.size()) {
    return dueMs;
  }
  return std::min(dueMs.value_or(options.walk[stepsWalked].ms), options.walk[stepsWalked].ms);
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
