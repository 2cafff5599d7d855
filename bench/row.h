// Rows: a work as the product does it, and its limit, the same work on libbson or the system straight away. One thread.
//
// Both are timed in turns, a short stretch of the one and a short stretch of the other, so that what else the machine
// does meets both. A row's ratio is the median of its pairs' ratios. One run of each side is counted: what it
// allocates, libraries included, and by an strace(1) around the program its system calls; it finds them between
// access("bench begin WORK/product") or access("bench begin WORK/limit") and access("bench end").
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <utility>
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

// A stretch of runs, from begin to end, which gives the thread's nanoseconds on the processor without pauses.
void begin();
double end();
// The run that is counted; gives its allocations.
void beginCounted(const std::string& name);
int endCounted();
// The ratio and the counts into what the benchmark tells, beside their marks.
void tell(benchmark::State* state, std::vector<double> ratios, int allocations, int limitAllocations,
          const Marks& marks);

template <typename Work>
double timeOf(const Work& work, int runs) {
  begin();
  for (int i = 0; i < runs; ++i) {
    work();
  }
  return end();
}

// How many runs make a stretch: short enough to be seldom interrupted, long enough for the clock.
template <typename Work>
int runsOfStretch(const Work& work) {
  constexpr double kStretchNs = 30000;
  int runs = 1;
  while (timeOf(work, runs) < kStretchNs) {
    runs *= 2;
  }
  return runs;
}

template <typename Work>
int countedAllocations(const std::string& name, const Work& work) {
  work();
  beginCounted(name);
  work();
  return endCounted();
}

template <typename Product, typename Limit>
void addRow(const std::string& name, const Marks& marks, const Product& product, const Limit& limit) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    const int allocations = countedAllocations(name + "/product", product);
    const int limitAllocations = countedAllocations(name + "/limit", limit);
    const int productRuns = runsOfStretch(product);
    const int limitRuns = runsOfStretch(limit);
    std::vector<double> ratios;
    for ([[maybe_unused]] auto step : state) {
      const double productNs = timeOf(product, productRuns) / productRuns;
      ratios.push_back(productNs / (timeOf(limit, limitRuns) / limitRuns));
    }
    tell(&state, std::move(ratios), allocations, limitAllocations, marks);
  });
}

// The rooms of productBench. How cost grows with size are benchmarks growth/WORK/SIZE, without a limit.
void addDocumentRows();
void addStatusRows();
void addSerialRows();
void addGrowth();

// Defined by each program: what it measures.
void addAll();

}  // namespace bench
