// How a simulated modem behaves. Plain data, copied into the modem that is made from it; any thread may hold a copy.
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

// What commands that need the SIM card answer. The numbers are those of 3GPP TS 27.007, 9.2.
enum class SimState {
  kReady,
  kMissing,  // +CME ERROR: 10
  kLocked,   // +CME ERROR: 11, and AT+CPIN? answers SIM PIN
};

// By the names of scenarios and options: "ok", "silent" and "no-prompt"; "ready", "missing" and "locked". None for any
// other name.
std::optional<SmsOutcome> smsOutcomeOf(std::string_view name);
std::optional<SimState> simStateOf(std::string_view name);

// What scenarios and the command line accept; the modem itself takes any number, so that a test can have it say
// anything. Delays end at an hour: far beyond every wait of a host.
constexpr int kUnknownRssi = 99;
constexpr int kMaxRegistration = 99;
constexpr int kMaxErrorCode = 999;
constexpr int kMaxDelayMs = 3600000;
// <rssi> of 3GPP TS 27.007, 8.5: 0 to 31, or 99 for unknown.
bool isRssi(int number);

// Whether a modem with this <stat> (3GPP TS 27.007, 7.2) knows its cell: home and roaming, on any kind of network.
bool isRegistered(int registration);

// The network and the SIM from a moment on; what is absent stays as it was.
// Steps of one moment are taken in their order. A modem that is unplugged walks on.
struct WalkStep {
  std::int64_t ms = 0;  // since the modem was switched on; never falls from step to step
  std::optional<int> rssi{};
  std::optional<int> registration{};
  std::optional<SimState> sim{};
  std::optional<std::int64_t> unplugMs{};  // the line is gone for so long
};

// The numbers are reported as they stand, so that values no network would give can be tried too.
// Times are in ms. Nothing is checked here: what comes from a person was, by scenario.h or arguments.h.
struct ModemOptions {
  // Echo of commands at start and after ATZ; the client changes it by ATE0 and ATE1.
  bool echo = true;
  // Echo of a body after the prompt; none: as commands are echoed.
  std::optional<bool> textEcho{};
  // A new prompt after each CR of a body, as modems show that still wait for Ctrl-Z.
  bool promptsEachLine = false;
  // Text mode: sends the first 160 characters instead of refusing more of them.
  bool cutsLongText = false;
  // <rssi> of AT+CSQ: 0..31 for -113..-51 dBm in steps of 2 dB, 99 unknown.
  int rssi = 17;
  // <stat> of AT+CREG?: 0 not, 1 home, 2 searching, 3 denied, 4 unknown, 5 roaming.
  int registration = 1;
  SimState sim = SimState::kReady;
  SmsOutcome smsOutcome = SmsOutcome::kAccepted;
  // <err> of 3GPP TS 27.005 that SmsOutcome::kRefused answers; 500 is "unknown error".
  int smsErrorCode = 500;
  // From the end of a command or body to its reply, >= 0; echo is not delayed. More of it before the prompt of AT+CMGS,
  // and more before the result of a message.
  std::int64_t replyDelayMs = 0;
  std::int64_t promptDelayMs = 0;
  std::int64_t resultDelayMs = 0;
  // In the order of the scenario, which both lists keep: the first fault that fits counts, steps follow each other.
  std::vector<Fault> faults{};
  std::vector<WalkStep> walk{};
};

}  // namespace orvix::simulator
