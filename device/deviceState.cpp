#include "device/deviceState.h"

#include <iterator>

namespace orvix::gsm {

DeviceStatus statusOf(DeviceState state) {
  switch (state) {
    case DeviceState::kConnect:
    case DeviceState::kInitializing:
    case DeviceState::kReady:
      return DeviceStatus::kReady;
    case DeviceState::kInitFailed:
    case DeviceState::kError:
      return DeviceStatus::kError;
    case DeviceState::kNotAvailable:
      return DeviceStatus::kNotAvailable;
    default:
      // The others have no connection.
      return DeviceStatus::kNoData;
  }
}

std::string stateName(DeviceState state) {
  static constexpr const char* kNames[] = {"kNone",         "kCreated",    "kWithConfig",   "kConnect", "kReset",
                                           "kInitializing", "kInitFailed", "kNotAvailable", "kError",   "kReady"};
  const auto index = static_cast<std::uint32_t>(state);
  // A value that a host made up must not lead beyond the table.
  return index < std::size(kNames) ? kNames[index] : kNames[0];
}

std::string statusName(DeviceStatus status) {
  static constexpr const char* kNames[] = {"kNoData", "kInitializing", "kNotAvailable", "kError", "kReady"};
  const auto index = static_cast<std::uint32_t>(status);
  return index < std::size(kNames) ? kNames[index] : kNames[0];
}

bool isActive(DeviceState state) {
  // By their numbers: the failures between the two count as well.
  return state == DeviceState::kConnect || (state >= DeviceState::kInitializing && state <= DeviceState::kReady);
}

}  // namespace orvix::gsm
