// What the fuzz targets share. One thread.
//
// A target is one function that must survive any bytes: without a crash, a sanitizer's finding or a leak, and with its
// own requirements met. libFuzzer calls it with bytes it makes up, the replay program with the files of a corpus.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// Ends the process, which counts as a crash, when what must always hold does not.
inline void require(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
  }
}

// The bytes of one run, taken from the front; at the end there are none, which reads as 0 and "".
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : next(reinterpret_cast<const char*>(data)), left(size) {}

  std::size_t size() const { return left; }
  std::string text(std::size_t length) {
    const std::string taken(next, std::min(length, left));
    next += taken.size();
    left -= taken.size();
    return taken;
  }
  std::uint8_t byte() {
    const std::string taken = text(1);
    return taken.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(taken[0]);
  }
  // A length byte and that many bytes.
  std::string piece() { return text(byte()); }

 private:
  const char* next;
  std::size_t left;
};

}  // namespace fuzz
