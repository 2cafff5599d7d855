#include "bench/row.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {

int allocations = 0;
bool isEverythingMet = true;

// Of what is on.
std::string currentName;
double goneAt = 0;
double ran = 0;
int allocationsBefore = 0;
int allocated = 0;

double nowNs() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

void go() {
  allocationsBefore = allocations;
  goneAt = nowNs();
}

void halt() {
  ran += nowNs() - goneAt;
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
  ran = 0;
  allocated = 0;
  go();
}

double bench::end() {
  halt();
  return ran;
}

void bench::beginCounted(const std::string& name) {
  currentName = name;
  say("begin " + name);
  begin();
}

int bench::endCounted() {
  end();
  say("end");
  return allocated;
}

void bench::tell(benchmark::State* state, std::vector<double> ratios, int productAllocations, int limitAllocations,
                 const Marks& marks) {
  std::sort(ratios.begin(), ratios.end());
  state->counters["ratio"] = ratios[ratios.size() / 2];
  state->counters["mark"] = marks.ratio;
  state->counters["allocs"] = productAllocations;
  state->counters["limitAllocs"] = limitAllocations;
  state->counters["allocsMark"] = marks.allocations;
  state->counters["callsMark"] = marks.calls;
  require(marks.allocations < 0 || productAllocations <= marks.allocations, "more allocations than allowed");
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
