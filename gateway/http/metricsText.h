// The service's counters in Prometheus' text format, version 0.0.4. Pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "gateway/service/service.h"

namespace orvix::gateway {

// Names and labels are promised to the outside and never change. Times in seconds, the signal in dBm; a value that is
// not known is left out rather than shown as 0. `nowMs` is service time.
// Names of modems stand in labels, quoted. A modem's verdicts are all there from the start, at 0.
std::string metricsText(const Metrics& metrics, const Counts& counts, const std::vector<ModemView>& modems,
                        std::int64_t nowMs);

}  // namespace orvix::gateway
