#include "bench/row.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace {

using Clock = std::chrono::steady_clock;

std::int64_t allocations = 0;
bool isEverythingMet = true;

// Of what is on.
std::string currentName;
Clock::time_point runningSince;
Clock::duration ran{};
std::int64_t allocationsBefore = 0;
std::int64_t allocated = 0;

void go() {
  allocationsBefore = allocations;
  runningSince = Clock::now();
}

void halt() {
  ran += Clock::now() - runningSince;
  allocated += allocations - allocationsBefore;
}

// A system call that says something to whoever traces the program.
void say(const std::string& what) {
  (void)access(("bench " + what).c_str(), F_OK);
}

}  // namespace

void bench::require(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "%s: %s\n", currentName.c_str(), what);
    isEverythingMet = false;
  }
}

bench::Pause::Pause() {
  halt();
  say("pause");
}

bench::Pause::~Pause() {
  say("resume");
  go();
}

void bench::begin() {
  ran = {};
  allocated = 0;
  go();
}

double bench::end() {
  halt();
  return std::chrono::duration<double, std::nano>(ran).count();
}

void bench::beginCounted(const std::string& name) {
  currentName = name;
  say("begin " + name);
  begin();
}

void bench::endCounted(benchmark::State* state, const Marks& marks) {
  end();
  say("end");
  state->counters["allocs"] = static_cast<double>(allocated);
  state->counters["mark"] = marks.ratio;
  state->counters["allocsMark"] = marks.allocations;
  state->counters["callsMark"] = marks.calls;
  require(marks.allocations < 0 || allocated <= marks.allocations, "more allocations than allowed");
}

int main(int argc, char** argv) {
  bench::addAll();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return isEverythingMet ? 0 : 1;
}

// The program's own definitions come before the C library's, for every library in the process.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

[[gnu::visibility("default")]] void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}

[[gnu::visibility("default")]] void* calloc(std::size_t number, std::size_t size) {
  ++allocations;
  return __libc_calloc(number, size);
}

[[gnu::visibility("default")]] void* realloc(void* block, std::size_t size) {
  ++allocations;
  return __libc_realloc(block, size);
}

// libbson takes every bson_t from here.
[[gnu::visibility("default")]] void* aligned_alloc(std::size_t alignment, std::size_t size) {
  ++allocations;
  return __libc_memalign(alignment, size);
}

}  // extern "C"
