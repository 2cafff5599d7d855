// The states of a GSM device and what the host sees of them. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <string>

#include "plugin/device.h"

namespace orvix::gsm {

// Of these, kConnect is left as soon as a report follows. kReset, kInitializing and kInitFailed are tested for but
// never entered, and kError is entered from itself or kInitFailed alone, so no call of a host leads there.
enum class DeviceState : std::uint32_t {
  kNone = 0,          // not usable
  kCreated = 1,       // no configuration accepted yet
  kWithConfig = 2,    // configuration accepted, connection closed
  kConnect = 3,       // connection being made
  kReset = 4,         // as kCreated
  kInitializing = 5,  // modem being initialised
  kInitFailed = 6,    // modem initialisation failed
  kNotAvailable = 7,  // the modem does not answer as required, or a report could not open the line
  kError = 8,         // error while talking to the modem
  kReady = 9,         // connection open and modem ready
};

// Hosts rely on it: a device that is still connecting or initialising already counts as ready.
DeviceStatus statusOf(DeviceState state);

// The enumerators' names; "kNone" and "kNoData" for values outside the lists.
std::string stateName(DeviceState state);
std::string statusName(DeviceStatus status);

// True for kConnect and kInitializing to kReady: states in which the device works with its connection.
bool isActive(DeviceState state);

}  // namespace orvix::gsm
