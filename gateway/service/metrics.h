// Counters since the start, for /metrics. Plain values; one thread.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace orvix::gateway {

// Upper bounds in seconds of the histogram gsm_send_seconds, acceptance to sent; the last bucket is without a bound.
inline constexpr std::array<double, 10> kSendSecondsBounds = {10, 15, 30, 60, 120, 300, 900, 3600, 14400, 86400};

struct SendSeconds {
  std::array<std::uint64_t, kSendSecondsBounds.size() + 1> buckets = {};  // each value counts in one bucket
  double sum = 0;
  std::uint64_t count = 0;
};

struct Metrics {
  std::map<std::string, std::uint64_t> messages;                         // by state's word: each entry into a state
  std::map<std::string, std::map<std::string, std::uint64_t>> attempts;  // by modem, by verdict's word
  std::map<std::string, std::uint64_t> reconnects;                       // by modem
  std::map<std::string, std::uint64_t> heals;                            // by modem
  std::map<std::string, SendSeconds> sendSeconds;                        // by modem
};

}  // namespace orvix::gateway
