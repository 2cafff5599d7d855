// What the process holds, to compare before and after. One thread; for programs that link test_line.
#pragma once

#include <malloc.h>

#include <array>
#include <filesystem>

#include "serial/xpl.h"
#include "tests/world/systemCalls.h"

namespace world {

inline int freePorts() {
  XplDcb dcb;
  XPLBuildDCB("/dev/null:9600,n,8,1", &dcb, nullptr);
  const int handle = XPLOpen(&dcb, 128, 128, nullptr, nullptr);
  const int count = handle > 0 ? 1 + freePorts() : 0;
  XPLClose(handle);
  return count;
}

// Threads, open descriptors, free ports, bytes in use. The bytes hold what the allocator keeps at hand of freed pieces;
// under a sanitizer, which allocates by itself and has a check of its own, they stand still.
inline std::array<long, 4> footprint() {
  const auto threads = std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  const auto heap = mallinfo2();
  return {threads, openDescriptors(), freePorts(), static_cast<long>(heap.uordblks + heap.hblkhd)};
}

}  // namespace world
