// Counters since the start, for /metrics. Plain values; one thread, the service's.
//
// They only grow, and begin anew with the process: Prometheus takes a smaller value for a restart. A key that is not
// there counts 0.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace orvix::gateway {

// Upper bounds in seconds of the histogram gsm_send_seconds, acceptance to sent; the last bucket is without a bound.
inline constexpr std::array<double, 10> kSendSecondsBounds = {10, 15, 30, 60, 120, 300, 900, 3600, 14400, 86400};

// One histogram.
struct SendSeconds {
  std::array<std::uint64_t, kSendSecondsBounds.size() + 1> buckets = {};  // each value counts in one bucket
  // In seconds.
  double sum = 0;
  std::uint64_t count = 0;
};

struct Metrics {
  // Each entry into a state, by the state's word.
  // A message that is queued again after an attempt counts as "queued" once more.
  std::map<std::string, std::uint64_t> messages;
  // The rest by the modem's name; attempts also by the verdict's word.
  std::map<std::string, std::map<std::string, std::uint64_t>> attempts;
  std::map<std::string, std::uint64_t> reconnects;
  std::map<std::string, std::uint64_t> heals;
  std::map<std::string, SendSeconds> sendSeconds;
};

}  // namespace orvix::gateway
