// A GSM modem without line or clock: bytes in, bytes out, time as an argument. One thread at a time; handlers run
// inside the call that causes them and must not call the modem back.
//
// Dialogue after ITU-T V.250: a command line begins with AT and ends with CR. Any other line is echoed and ignored.
// Control characters and empty lines are swallowed without echo or answer, so what a client sends after a Ctrl-Z does
// no harm. After the prompt of AT+CMGS (3GPP TS 27.005) everything is body until Ctrl-Z (0x1A) sends or Escape (0x1B)
// abandons it, however long that takes and whoever sends it: the text itself in text mode, an SMS-SUBMIT in hexadecimal
// in PDU mode. A body that the modem cannot send answers +CMS ERROR: 304 or 305, without a network 331.
//
// Nothing grows without limit: see the constants. What exceeds them answers an error (lines, bodies), is lost as on an
// overrun line (output nobody takes) or pushes out the oldest (messages).
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/commands.h"
#include "simulator/dce.h"
#include "simulator/disturbance.h"
#include "simulator/modemOptions.h"
#include "simulator/outputQueue.h"

namespace orvix::simulator {

// Limits, in bytes unless another unit is named.
constexpr std::size_t kMaxLineLength = 1024;  // bytes without CR; a longer line answers ERROR
constexpr std::size_t kMaxBodyLength = 1024;  // bytes without Ctrl-Z
constexpr std::size_t kMaxTextSeptets = 160;  // of a body in text mode
// That messages() remembers; the oldest goes first.
constexpr std::size_t kMaxMessages = 1000;

// A body that ended with Ctrl-Z and that the modem could read.
struct Message {
  std::string destination;
  std::string text;  // UTF-8, as the network carries it
  MessageMode mode = MessageMode::kText;
  std::optional<int> reference{};  // that of "+CMGS: <reference>", present when the message was sent
};

enum class Direction { kToModem, kFromModem };

// A call costs time in proportion to its bytes, and waits for nothing.
class Modem : public Dce {
 public:
  // Called from inside receive.
  using MessageHandler = std::function<void(const Message& message)>;
  using TraceHandler = std::function<void(Direction direction, std::string_view bytes)>;

  // Switched on at 0 ms.
  // Copies the options.
  explicit Modem(const ModemOptions& initialOptions = {});

  // One handler each, replaced by the next call. A message is handed over before its result is due. The trace sees
  // whole command lines (without CR), bodies and replies, never echo; a reply shows when it is decided, replyDelayMs
  // before it is due.
  void onMessage(MessageHandler handler);
  // What is passed is borrowed for the call. An exception of a handler leaves receive().
  void onTrace(TraceHandler handler);

  // See Dce. What is received while the line is gone is lost.
  void receive(std::string_view bytes, std::int64_t nowMs) override;
  std::string takeOutput(std::int64_t nowMs) override;
  std::optional<std::int64_t> nextDueMs() const override;

  // False from a hang-up to its return. What was still to be sent is lost then, and the modem that comes back has
  // forgotten input and settings, as one that was switched off and on.
  bool isOnLine() const override;
  void unplug() override;

  // The latest messages, oldest first; valid until the next call of receive.
  const std::deque<Message>& messages() const;

 private:
  // What the next byte belongs to.
  enum class State { kCommand, kBody };

  // Of a hang-up that takeOutput may still have to show.
  // In ms since it was switched on.
  struct Absence {
    std::int64_t beginMs;
    std::int64_t endMs;
  };

  // The input, byte by byte: a line that grows until its CR, or a body until its Ctrl-Z or Escape.
  void takeCommandByte(char byte, std::int64_t nowMs);
  void takeBodyByte(char byte, std::int64_t nowMs);
  void endLine(std::int64_t nowMs);
  void execute(const std::string& line, std::int64_t nowMs);
  void endBody(std::int64_t nowMs);
  void abandonBody(std::int64_t nowMs);
  // What a body says; none when the modem cannot send it: too long, or no SMS-SUBMIT of the announced length.
  std::optional<Message> messageOf(const std::string& body) const;
  std::optional<std::string> textOf(const std::string& body) const;
  void keep(Message message);
  // Decides whether it is sent, and the reply that tells so or something else.
  std::string sendResult(Message* message, const Fault& fault);
  void echo(char byte, std::int64_t nowMs);
  void echoText(char byte, std::int64_t nowMs);
  // Queues the reply as the fault disturbs it; `nowMs` is when the modem is done, delays come on top.
  void reply(const std::string& bytes, std::int64_t nowMs, const Fault& fault = {});
  void hangUp(const Absence& wanted);
  void restoreSettings();
  // Takes the steps of the walk that are due. First of all in every call, for what follows depends on them.
  void walk(std::int64_t nowMs);
  void trace(Direction direction, std::string_view bytes) const;

  ModemOptions options;  // the walk changes the network's part and the SIM
  FaultSelector faults;
  std::size_t stepsWalked = 0;
  std::optional<Absence> absence;  // while hung up
  bool isUp = true;                // as takeOutput showed it
  Settings settings;
  State state = State::kCommand;
  std::string input;  // the line or body so far, cut one byte above its limit
  // Of the body that is being taken.
  Submission submission{};
  // TP-MR (3GPP TS 23.040, 9.2.3.6): 8 bits that begin again at 0.
  std::uint8_t messageReference = 0;
  OutputQueue outputs;
  std::deque<Message> received;
  MessageHandler messageHandler;
  TraceHandler traceHandler;
};

}  // namespace orvix::simulator
