#include "serial/ring.h"

#include <cstdlib>

namespace xpl {

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

void reset(XplRing* ring) {
  ring->count = 0;
  ring->readPosition = ring->storage;
  ring->writePosition = ring->storage;
}

}  // namespace xpl
