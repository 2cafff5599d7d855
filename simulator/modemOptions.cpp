#include "simulator/modemOptions.h"

#include <algorithm>
#include <iterator>

namespace orvix::simulator {
namespace {

template <class Value>
struct Named {
  std::string_view name;
  Value value;
};

template <class Value, std::size_t kSize>
std::optional<Value> find(const Named<Value> (&table)[kSize], std::string_view name) {
  for (const Named<Value>& row : table) {
    if (row.name == name) {
      return row.value;
    }
  }
  return std::nullopt;
}

}  // namespace

// No word for a refusal: that is said by the number of its error.
std::optional<SmsOutcome> smsOutcomeOf(std::string_view name) {
  static constexpr Named<SmsOutcome> kOutcomes[] = {
      {"ok", SmsOutcome::kAccepted}, {"silent", SmsOutcome::kSilent}, {"no-prompt", SmsOutcome::kNoPrompt}};
  return find(kOutcomes, name);
}

std::optional<SimState> simStateOf(std::string_view name) {
  static constexpr Named<SimState> kStates[] = {
      {"ready", SimState::kReady}, {"missing", SimState::kMissing}, {"locked", SimState::kLocked}};
  return find(kStates, name);
}

bool isRssi(int number) {
  constexpr int kMaxRssi = 31;
  return (number >= 0 && number <= kMaxRssi) || number == kUnknownRssi;
}

bool isRegistered(int registration) {
  // Home and roaming: in full, for short messages alone, and without preferring circuit-switched fallback. 8, for
  // emergencies alone, is none.
  constexpr int kRegistered[] = {1, 5, 6, 7, 9, 10};
  return std::find(std::begin(kRegistered), std::end(kRegistered), registration) != std::end(kRegistered);
}

}  // namespace orvix::simulator
