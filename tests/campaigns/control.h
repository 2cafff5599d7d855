// What a campaign shares with the processes that it tries: a page of memory, mapped from the file that the environment
// names in ORVIX_CONTROL. fastTime.cpp acts on it inside of them. Any thread of any process.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

namespace campaign {

struct Control {
  std::int32_t speed = 1;                  // so many times as fast as real time
  std::int64_t wallStartNs = 0;            // the real time at which both wall clocks agree
  std::atomic<std::int32_t> supervisor{};  // its process id; the others are workers
  std::atomic<bool> isSupervisorVictim{};  // whose calls are counted
  std::atomic<bool> takesAll{};            // the victim's whole process group goes with it
  std::atomic<std::int32_t> callsLeft{};   // the last of them ends it with SIGKILL; 0: nothing is counted
};

inline std::int64_t nsOf(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

}  // namespace campaign
