// Statuses beside what they stand for.

#include "app/common/status.h"

#include <benchmark/benchmark.h>

#include <memory>

#include "bench/allocations.h"

using bench::measure;
using orvix::Status;

namespace {

void success(benchmark::State& state) {
  measure(state, [] {
    Status made;
    Status copy(made);
    benchmark::DoNotOptimize(copy.isOk());
  });
}
BENCHMARK(success)->Name("statusSuccess/product");

void successLimit(benchmark::State& state) {
  measure(state, [] {
    std::unique_ptr<char[]> made;
    const char* copy = made.get();
    benchmark::DoNotOptimize(copy == nullptr);
  });
}
BENCHMARK(successLimit)->Name("statusSuccess/limit");

void failure(benchmark::State& state) {
  measure(state, [] { benchmark::DoNotOptimize(Status::failed("Parameter name invalid.", "why").toString()); });
}
BENCHMARK(failure)->Name("statusFailure/product");

void failureLimit(benchmark::State& state) {
  measure(state, [] {
    std::unique_ptr<char[]> block(new char[34]);
    benchmark::DoNotOptimize(block.get());
    benchmark::DoNotOptimize(std::string("Failed: Parameter name invalid.: why"));
  });
}
BENCHMARK(failureLimit)->Name("statusFailure/limit");

}  // namespace
