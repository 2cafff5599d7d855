// What the database did not do. Plain values; any thread.
//
// The text is for people and tells no SQL; the caller's changes since the last commit are void.
#pragma once

#include <stdexcept>
#include <string>

namespace orvix::gateway {

// Of any statement, file or folder.
class StoreError : public std::runtime_error {
 public:
  StoreError(const std::string& text, bool diskIsFull) : std::runtime_error(text), isFull(diskIsFull) {}
  // Whether space would help.
  // SQLITE_FULL, or ENOSPC from the file system.
  bool isDiskFull() const { return isFull; }

 private:
  bool isFull;
};

// Another service works on the folder.
class StoreInUse : public StoreError {
 public:
  explicit StoreInUse(const std::string& text) : StoreError(text, false) {}
};

}  // namespace orvix::gateway
