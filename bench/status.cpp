// Rows of Status, compared with a block on the heap.

#include "common/status.h"

#include <cstring>
#include <memory>

#include "bench/row.h"

using bench::require;
using benchmark::DoNotOptimize;
using orvix::Status;

static_assert(sizeof(Status) == sizeof(void*), "a status is one pointer wide");

namespace {

// Texts that the compiler does not know when they are used.
const char* volatile prefix = "Failed: ";
const char* volatile message = "Parameter name invalid.";
const char* volatile detail = "why";

// One block of header and text, and one string of prefix and text.
void failRaw() {
  constexpr std::size_t kHeaderSize = 4;
  const char* const parts[] = {message, ": ", detail};
  const std::size_t lengths[] = {std::strlen(parts[0]), 2, std::strlen(parts[2])};
  const std::size_t length = lengths[0] + lengths[1] + lengths[2];
  const std::unique_ptr<char[]> block(new char[kHeaderSize + length]);
  std::memcpy(block.get(), &length, kHeaderSize);
  char* out = block.get() + kHeaderSize;
  for (int i = 0; i < 3; ++i) {
    std::memcpy(out, parts[i], lengths[i]);
    out += lengths[i];
  }
  DoNotOptimize(block);
  std::string text;
  text.reserve(std::strlen(prefix) + length);
  text.append(prefix).append(block.get() + kHeaderSize, length);
  require(text.size() == 36, "another text");
}

}  // namespace

void bench::addStatusRows() {
  addRow(
      "make, copy, test, destroy a success", {-1, 0},
      [] {
        Status made;
        DoNotOptimize(made);
        Status copy(made);
        DoNotOptimize(copy);
        require(copy.isOk(), "no success");
      },
      [] {
        void* made = nullptr;
        DoNotOptimize(made);
        void* copy = made;
        DoNotOptimize(copy);
        require(copy == nullptr, "no success");
      });
  // One block for the status, one for the string that shows it.
  addRow(
      "make and show a failure", {1.1, 2},
      [] { require(Status::failed(message, detail).toString().size() == 36, "another text"); }, failRaw);
}
