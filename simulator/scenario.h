// Scenarios: files that describe a modem and its faults (docs/simulator.md). Pure: any thread.
#pragma once

#include <string>

#include "simulator/modemOptions.h"

namespace orvix::simulator {

// Throws JsonError (simulator/json.h), whose what() names the key.
ModemOptions scenarioOf(const std::string& json);

}  // namespace orvix::simulator
