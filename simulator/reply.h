// Replies of a modem as bytes, each line in its CR LF frame, as ITU-T V.250 has it after ATV1. Pure: any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/modemOptions.h"
#include "simulator/settings.h"

namespace orvix::simulator {

// Codes of +CMS ERROR (3GPP TS 27.005, 3.2.5) for a message that the modem itself cannot send.
constexpr int kInvalidPduModeParameter = 304;
constexpr int kInvalidTextModeParameter = 305;
constexpr int kNoNetworkService = 331;

// Answers AT+CMGS (3GPP TS 27.005, 4.3): CR LF, a greater-than sign, a blank; the body follows.
// Zero-terminated, without a line end: what follows stands on its line.
constexpr char kPrompt[] = "\r\n> ";

// The values of AT+CMGF.
enum class MessageMode { kPdu, kText };

// A message that is about to be sent: what AT+CMGS said of the body that follows. The modem keeps it until the body has
// ended.
struct Submission {
  MessageMode mode;
  std::string destination;    // text mode
  std::size_t pduOctets = 0;  // PDU mode: without the service centre's address
};

// What a command brings about: bytes, and for AT+CMGS the state that waits for a body.
// Without a submission the modem goes on reading commands.
struct Answer {
  std::string reply;                       // ready to send
  std::optional<Submission> submission{};  // when present, the reply is a prompt and the body of a message follows
};

// "\r\n<text>\r\n"
// Also for unsolicited lines, which stand in the same frame.
std::string framed(std::string_view text);

// Final result codes, framed; the first two for any command that has nothing to tell, or nothing to say.
Answer ok();
Answer error();
Answer information(std::string_view text);             // the text, then OK
Answer messageError(int code);                         // +CMS ERROR: <code>
Answer incorrectParameters(const Settings& settings);  // as AT+CMEE asks

// +CME ERROR of a SIM that is not ready: in words after AT+CMEE=2, otherwise as a number, also without AT+CMEE=1.
// `sim` must be one that is not ready.
Answer simError(SimState sim, const Settings& settings);

}  // namespace orvix::simulator
