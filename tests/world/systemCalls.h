// System calls of the product as tests see them: counted, made to fail, or answered in the system's place. One thread.
//
// Wrapped, for programs that link test_world: open, close, read, write, fsync, rename, flock, tcgetattr, tcsetattr,
// ioctl (TIOCMGET and TIOCMSET alone), malloc, calloc.
#pragma once

#include <termios.h>

#include <string>

namespace world {

struct SystemCalls {
  static SystemCalls& instance();

  // Modem lines in place of the pseudo-terminal's refusal: -1 leaves the system's own answer.
  int modemLines = -1;
  bool refuseSetLines = false;
  termios lastLineSettings{};
  int lastOpenFlags = 0;
  int setAttrCount = 0;
  int readCount = 0;
};

// Makes the n-th call (from 1) of one wrapped function fail with `error` while it lives; other calls pass.
// With `shortBy` 0 or more the call succeeds but transfers that many bytes less (read, write); error is then unused.
// `times` such calls in a row are struck.
class Fault {
 public:
  Fault(const char* function, int n, int error, int shortBy = -1, int times = 1);
  ~Fault();
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;

  bool hasFired() const;
};

// Descriptors of this process that are open.
int openDescriptors();

}  // namespace world
