#include "serial/ring.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace xpl {
namespace {

// A run of positions: those up to the end of the storage, and those from its beginning on.
struct Run {
  std::uint32_t toEnd;
  std::uint32_t fromBegin;
};

Run runFrom(const XplRing* ring, const unsigned char* position, std::uint32_t length) {
  const std::size_t left = std::size_t{ring->capacity} + 1 - static_cast<std::size_t>(position - ring->storage);
  // A copy that would run over the end is cut in two there.
  const std::uint32_t toEnd = length < left ? length : static_cast<std::uint32_t>(left);
  return {toEnd, length - toEnd};
}

// There are capacity + 1 positions in use, though never more than `capacity` bytes.
unsigned char* advanced(const XplRing* ring, unsigned char* position, Run run) {
  unsigned char* const next = position + run.toEnd;
  return next > ring->storage + ring->capacity ? ring->storage + run.fromBegin : next;
}

}  // namespace

XplRing* createRing(std::uint32_t capacity) {
  constexpr std::size_t kOverhead = sizeof(XplRing) + 1;
  const std::size_t wanted = capacity;
  if (wanted > SIZE_MAX - kOverhead) {  // only where a pointer has 32 bits
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

std::uint32_t put(XplRing* ring, const unsigned char* bytes, std::uint32_t length) {
  const std::uint32_t count = std::min(length, ring->capacity - ring->count);
  const Run run = runFrom(ring, ring->writePosition, count);
  std::memcpy(ring->writePosition, bytes, run.toEnd);
  std::memcpy(ring->storage, bytes + run.toEnd, run.fromBegin);
  ring->writePosition = advanced(ring, ring->writePosition, run);
  ring->count += count;
  return count;
}

std::uint32_t take(XplRing* ring, unsigned char* bytes, std::uint32_t length) {
  const std::uint32_t count = std::min(length, ring->count);
  const Run run = runFrom(ring, ring->readPosition, count);
  std::memcpy(bytes, ring->readPosition, run.toEnd);
  std::memcpy(bytes + run.toEnd, ring->storage, run.fromBegin);
  ring->readPosition = advanced(ring, ring->readPosition, run);
  ring->count -= count;
  return count;
}

void reset(XplRing* ring) {
  ring->count = 0;
  ring->readPosition = ring->storage;
  ring->writePosition = ring->storage;
}

}  // namespace xpl
