// Rows: a work as the product does it, and its limit, the same work on libbson or the system straight away. One thread.
//
// Both are measured in one run, as benchmarks WORK/product and WORK/limit: their ratio means something where the times
// do not. One run of each is counted: what it allocates, libraries included, and by an strace(1) around the program its
// system calls; it finds them between access("bench begin NAME") and access("bench end").
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

namespace bench {

// The most that the product may take of the limit's time, allocate, and call the system; below 0: any.
struct Marks {
  double ratio = -1;
  int allocations = -1;
  int calls = -1;
};

// Makes the program end as failed: the work was not done, or a mark that is no time was missed.
void require(bool condition, const char* what);

// What happens while it lives is neither timed nor counted: the other end of a line does its part.
class Pause {
 public:
  Pause();
  ~Pause();
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;
};

// A stretch of runs, from begin to end, which gives nanoseconds without pauses.
void begin();
double end();
// The run that is counted.
void beginCounted(const std::string& name);
void endCounted(benchmark::State* state, const Marks& marks);

// The runs are timed in short stretches by the clock on the wall, and the time is that of the median stretch, which
// nothing else on the machine has interrupted.
template <typename Work>
void measure(benchmark::State& state, const std::string& name, const Marks& marks, const Work& work) {
  constexpr double kStretchNs = 10000;
  work();
  beginCounted(name);
  work();
  endCounted(&state, marks);
  const auto timed = [&work](int runs) {
    begin();
    for (int i = 0; i < runs; ++i) {
      work();
    }
    return end();
  };
  int runs = 1;
  while (timed(runs) < kStretchNs) {
    runs *= 2;
  }
  std::vector<double> times;
  for ([[maybe_unused]] auto step : state) {
    times.push_back(timed(runs) / runs);
  }
  std::sort(times.begin(), times.end());
  state.counters["median"] = times[times.size() / 2];
}

template <typename Product, typename Limit>
void addRow(const std::string& name, const Marks& marks, const Product& product, const Limit& limit) {
  const auto add = [](const std::string& side, const Marks& sideMarks, const auto& work) {
    benchmark::RegisterBenchmark(side.c_str(), [=](benchmark::State& state) { measure(state, side, sideMarks, work); });
  };
  add(name + "/product", marks, product);
  add(name + "/limit", Marks{}, limit);
}

// The rooms of productBench. How cost grows with size are benchmarks growth/WORK/SIZE, without a limit.
void addDocumentRows();
void addStatusRows();
void addSerialRows();
void addGrowth();

// Defined by each program: what it measures.
void addAll();

}  // namespace bench
