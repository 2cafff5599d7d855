#include "simulator/modemOptions.h"

namespace orvix::simulator {

std::optional<SmsOutcome> smsOutcomeOf(std::string_view name) {
  constexpr struct {
    std::string_view name;
    SmsOutcome outcome;
  } kOutcomes[] = {
      {"ok", SmsOutcome::kAccepted},
      {"silent", SmsOutcome::kSilent},
      {"no-prompt", SmsOutcome::kNoPrompt},
  };
  for (const auto& row : kOutcomes) {
    if (row.name == name) {
      return row.outcome;
    }
  }
  return std::nullopt;
}

bool isRssi(int number) {
  constexpr int kMaxRssi = 31;
  return (number >= 0 && number <= kMaxRssi) || number == kUnknownRssi;
}

}  // namespace orvix::simulator
