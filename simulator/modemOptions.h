// How a simulated modem behaves. Plain data, copied into the modem that is made from it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "simulator/fault.h"

namespace orvix::simulator {

// What becomes of a message. In every case but kNoPrompt a complete body is kept and reported as a message.
enum class SmsOutcome {
  kAccepted,  // "+CMGS: <reference>" and OK
  kRefused,   // "+CMS ERROR: <smsErrorCode>"
  kSilent,    // the body is taken, nothing is answered
  kNoPrompt,  // AT+CMGS itself is never answered and no body is taken
};

// "ok", "silent" and "no-prompt"; none for any other name.
std::optional<SmsOutcome> smsOutcomeOf(std::string_view name);

// What scenarios and the command line accept; the modem itself takes any number.
constexpr int kUnknownRssi = 99;
constexpr int kMaxRegistration = 99;
constexpr int kMaxErrorCode = 999;
constexpr int kMaxDelayMs = 3600000;
bool isRssi(int number);

// The network from a moment on; what is absent stays as it was.
struct WalkStep {
  std::int64_t ms = 0;  // since the modem was switched on; never falls from step to step
  std::optional<int> rssi{};
  std::optional<int> registration{};
};

// The numbers are reported as they stand, so that values no network would give can be tried too.
struct ModemOptions {
  bool echo = true;      // at start and after ATZ; the client changes it by ATE0 and ATE1
  int rssi = 17;         // <rssi> of AT+CSQ: 0..31 for -113..-51 dBm in steps of 2 dB, 99 unknown
  int registration = 1;  // <stat> of AT+CREG?: 0 not, 1 home, 2 searching, 3 denied, 4 unknown, 5 roaming, ...
  SmsOutcome smsOutcome = SmsOutcome::kAccepted;
  int smsErrorCode = 500;         // <err> of 3GPP TS 27.005 that SmsOutcome::kRefused answers
  std::int64_t replyDelayMs = 0;  // from the end of a command or body to its reply, >= 0; echo is not delayed
  std::vector<Fault> faults{};    // the first that fits counts
  std::vector<WalkStep> walk{};
};

}  // namespace orvix::simulator
