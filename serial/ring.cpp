#include "serial/ring.h"

#include <cstdlib>

namespace xpl {
namespace {

unsigned char* advanced(const XplRing* ring, unsigned char* position) {
  return position == ring->storage + ring->capacity ? ring->storage : position + 1;
}

}  // namespace

XplRing* createRing(std::uint32_t capacity) {
  constexpr std::size_t kOverhead = sizeof(XplRing) + 1;
  const std::size_t wanted = capacity;
  if (wanted > SIZE_MAX - kOverhead) {
    return nullptr;
  }
  XplRing* const ring = static_cast<XplRing*>(std::malloc(kOverhead + wanted));
  if (ring != nullptr) {
    ring->capacity = capacity;
    ring->storage = reinterpret_cast<unsigned char*>(ring + 1);
    reset(ring);
  }
  return ring;
}

bool put(XplRing* ring, unsigned char byte) {
  if (ring->count == ring->capacity) {
    return false;
  }
  *ring->writePosition = byte;
  ring->writePosition = advanced(ring, ring->writePosition);
  ++ring->count;
  return true;
}

bool take(XplRing* ring, unsigned char* byte) {
  if (ring->count == 0) {
    return false;
  }
  *byte = *ring->readPosition;
  ring->readPosition = advanced(ring, ring->readPosition);
  --ring->count;
  return true;
}

void reset(XplRing* ring) {
  ring->count = 0;
  ring->readPosition = ring->storage;
  ring->writePosition = ring->storage;
}

}  // namespace xpl
