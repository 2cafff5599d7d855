// A modem and its report as every door shows them; `offsetMs` brings service time to wall time. Pure functions; any
// thread.
#pragma once

#include <nlohmann/json.hpp>

#include "gateway/service/service.h"

namespace orvix::gateway {

// "dBm" and "percent" are null where the modem does not know them.
// Null when the modem has none yet.
nlohmann::json reportJson(const ModemView& modem, std::int64_t offsetMs);
// "report" is null until there is one.
nlohmann::json modemJson(const ModemView& modem, std::int64_t offsetMs);

}  // namespace orvix::gateway
