// Scenarios: files that describe a modem and its faults (docs/simulator.md). Pure: any thread.
#pragma once

#include <string>

#include "simulator/modemOptions.h"

namespace orvix::simulator {

// The modem that the text describes: the defaults of ModemOptions, with what its keys say. Refuses what it does not
// know, and a fault that would have no effect. Throws JsonError (simulator/json.h), whose what() names the key.
ModemOptions scenarioOf(const std::string& json);

}  // namespace orvix::simulator
