#include "bench/allocations.h"

#include <cstddef>

namespace {

std::int64_t count = 0;

}  // namespace

std::int64_t bench::allocations() {
  return count;
}

// The program's own definitions come before the C library's, for every library in the process.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

[[gnu::visibility("default")]] void* malloc(std::size_t size) {
  ++count;
  return __libc_malloc(size);
}

[[gnu::visibility("default")]] void* calloc(std::size_t number, std::size_t size) {
  ++count;
  return __libc_calloc(number, size);
}

[[gnu::visibility("default")]] void* realloc(void* block, std::size_t size) {
  ++count;
  return __libc_realloc(block, size);
}

}  // extern "C"
