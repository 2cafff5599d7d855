// How a simulated modem behaves. Plain data, copied into the modem that is made from it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "simulator/fault.h"

namespace orvix::simulator {

// What becomes of a message of a modem that is registered. In every case but kNoPrompt a complete body is reported as a
// message; only an accepted one is sent.
enum class SmsOutcome {
  kAccepted,  // "+CMGS: <reference>" and OK
  kRefused,   // "+CMS ERROR: <smsErrorCode>"
  kSilent,    // the body is read, nothing is answered
  kNoPrompt,  // AT+CMGS itself is never answered and no body is read
};

enum class SimState {
  kReady,
  kMissing,  // +CME ERROR: 10
  kLocked,   // +CME ERROR: 11, and AT+CPIN? answers SIM PIN
};

// By the names of scenarios and options: "ok", "silent" and "no-prompt"; "ready", "missing" and "locked". None for any
// other name.
std::optional<SmsOutcome> smsOutcomeOf(std::string_view name);
std::optional<SimState> simStateOf(std::string_view name);

// What scenarios and the command line accept; the modem itself takes any number.
constexpr int kUnknownRssi = 99;
constexpr int kMaxRegistration = 99;
constexpr int kMaxErrorCode = 999;
constexpr int kMaxDelayMs = 3600000;
bool isRssi(int number);

// Whether a modem with this <stat> knows its cell: home and roaming, on any kind of network.
bool isRegistered(int registration);

// The network and the SIM from a moment on; what is absent stays as it was.
struct WalkStep {
  std::int64_t ms = 0;  // since the modem was switched on; never falls from step to step
  std::optional<int> rssi{};
  std::optional<int> registration{};
  std::optional<SimState> sim{};
  std::optional<std::int64_t> unplugMs{};  // the line is gone for so long
};

// The numbers are reported as they stand, so that values no network would give can be tried too.
struct ModemOptions {
  bool echo = true;                // at start and after ATZ; the client changes it by ATE0 and ATE1
  std::optional<bool> textEcho{};  // of a body after the prompt; none: as commands are echoed
  bool promptsEachLine = false;    // a new prompt after each CR of a body
  bool cutsLongText = false;       // text mode: sends the first 160 characters instead of refusing more of them
  int rssi = 17;                   // <rssi> of AT+CSQ: 0..31 for -113..-51 dBm in steps of 2 dB, 99 unknown
  int registration = 1;            // <stat> of AT+CREG?: 0 not, 1 home, 2 searching, 3 denied, 4 unknown, 5 roaming
  SimState sim = SimState::kReady;
  SmsOutcome smsOutcome = SmsOutcome::kAccepted;
  int smsErrorCode = 500;          // <err> of 3GPP TS 27.005 that SmsOutcome::kRefused answers
  std::int64_t replyDelayMs = 0;   // from the end of a command or body to its reply, >= 0; echo is not delayed
  std::int64_t promptDelayMs = 0;  // more of it before the prompt of AT+CMGS
  std::int64_t resultDelayMs = 0;  // more of it before the result of a message
  std::vector<Fault> faults{};     // the first that fits counts
  std::vector<WalkStep> walk{};
};

}  // namespace orvix::simulator
