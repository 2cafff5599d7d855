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

// A run, from begin to end, which gives nanoseconds without pauses.
void beginRun();
double endRun();
// The run that is counted; its end tells whether there was a pause.
void beginCountedRun(const std::string& name);
bool endCountedRun(benchmark::State* state, const Marks& marks);

// Work with pauses is timed run by run, by the clock on the wall; its time is the median.
template <typename Work>
void measure(benchmark::State& state, const std::string& name, const Marks& marks, const Work& work) {
  work();
  beginCountedRun(name);
  work();
  if (!endCountedRun(&state, marks)) {
    for ([[maybe_unused]] auto step : state) {
      work();
    }
    return;
  }
  std::vector<double> times;
  for ([[maybe_unused]] auto step : state) {
    beginRun();
    work();
    times.push_back(endRun());
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
