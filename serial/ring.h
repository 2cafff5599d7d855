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

void reset(XplRing* ring);

inline unsigned char* advanced(const XplRing* ring, unsigned char* position) {
  return position == ring->storage + ring->capacity ? ring->storage : position + 1;
}

// False when the ring is full.
inline bool put(XplRing* ring, unsigned char byte) {
  if (ring->count == ring->capacity) {
    return false;
  }
  *ring->writePosition = byte;
  ring->writePosition = advanced(ring, ring->writePosition);
  ++ring->count;
  return true;
}

// False when the ring is empty.
inline bool take(XplRing* ring, unsigned char* byte) {
  if (ring->count == 0) {
    return false;
  }
  *byte = *ring->readPosition;
  ring->readPosition = advanced(ring, ring->readPosition);
  --ring->count;
  return true;
}

}  // namespace xpl
