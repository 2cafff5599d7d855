// The receive ring of a port. One thread at a time.
#pragma once

#include <cstdint>

namespace xpl {

// Header and storage are one malloc(3) block:
//
//   | capacity | count | storage | readPosition | writePosition | capacity + 1 bytes |
//                          `-------------------------------------^
struct XplRing {
  std::uint32_t capacity;        // the most bytes held
  std::uint32_t count;           // bytes held now
  unsigned char* storage;        // first storage byte
  unsigned char* readPosition;   // next byte to take
  unsigned char* writePosition;  // next free byte
};

// A new empty ring, freed with free(3); null when it cannot be had.
XplRing* createRing(std::uint32_t capacity);

// Puts as many of the bytes as fit, or takes as many as there are, up to `length`; how many these were.
std::uint32_t put(XplRing* ring, const unsigned char* bytes, std::uint32_t length);
std::uint32_t take(XplRing* ring, unsigned char* bytes, std::uint32_t length);

void reset(XplRing* ring);

}  // namespace xpl
