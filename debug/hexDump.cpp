// Bytes as rows of information reports.

#include <cctype>

#include "debug/xdbg.h"

namespace {

constexpr size_t kColumns = 16;

void dumpRow(const unsigned char* bytes, size_t count) {
  // Address, ": ", three characters a column, one character a byte, the terminating zero.
  char row[2 * sizeof(long) + 2 + 3 * kColumns + kColumns + 1];
  char* out = row + std::sprintf(row, "%08lx: ", reinterpret_cast<unsigned long>(bytes));
  for (size_t i = 0; i < kColumns; ++i) {
    // A short last row keeps its columns.
    out += i < count ? std::sprintf(out, "%02x ", bytes[i]) : std::sprintf(out, "   ");
  }
  for (size_t i = 0; i < count; ++i) {
    *out++ = std::isprint(bytes[i]) != 0 ? static_cast<char>(bytes[i]) : '.';
  }
  *out = '\0';
  XDbgInfo("%s\n", row);
}

}  // namespace

void XDbgHexDump(const void* data, size_t length) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (size_t offset = 0; data != nullptr && offset < length; offset += kColumns) {
    dumpRow(bytes + offset, length - offset < kColumns ? length - offset : kColumns);
  }
}
