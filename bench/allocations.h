// Counts what the whole process allocates, libraries included. One thread.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

namespace bench {

// Calls of malloc(3) and its kind so far; operator new ends there too.
std::int64_t allocations();

// Runs the work once to warm up and once to count, then as often as the benchmark asks. The counter "allocs" is
// the allocations of one run.
template <typename Work>
void measure(benchmark::State& state, const Work& work) {
  work();
  const std::int64_t before = allocations();
  work();
  const std::int64_t counted = allocations() - before;
  for ([[maybe_unused]] auto step : state) {
    work();
  }
  state.counters["allocs"] = static_cast<double>(counted);
}

}  // namespace bench
