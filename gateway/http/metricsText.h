// The service's counters in Prometheus' text format. Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "gateway/service/service.h"

namespace orvix::gateway {

// A value that is not known is left out.
std::string metricsText(const Metrics& metrics, const Counts& counts, const std::vector<ModemView>& modems,
                        std::int64_t nowMs);

}  // namespace orvix::gateway
