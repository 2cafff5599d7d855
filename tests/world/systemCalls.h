// System calls of the product as tests see them: counted, made to fail, or answered in the system's place. Each thread
// has counts and answers of its own; faults are armed while there is one thread.
//
// Wrapped, for programs that link test_world: open, close, read, write, fsync, rename, flock, tcgetattr, tcsetattr,
// ioctl (TIOCMGET and TIOCMSET alone), malloc, calloc.
#pragma once

#include <termios.h>

#include <functional>

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
// With `shortBy` 0 or more the call succeeds but transfers that many bytes less (read, write).
// `times` such calls in a row are struck; with both `shortBy` and an error the first is short and the others fail.
class Fault {
 public:
  Fault(const char* function, int n, int error, int shortBy = -1, int times = 1);
  // Only does `act` first: the n-th call itself passes.
  Fault(const char* function, int n, std::function<void()> act);
  ~Fault();
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;

  bool hasFired() const;
};

// What the end of the process leaves of the call that it falls on.
enum class Cut {
  kBefore,    // nothing
  kHalfway,   // half the bytes of a write, nothing of another call
  kAfter,     // all
  kPowerLoss  // all but what was written to a file and never reached its fsync
};

// From now on, ends this process by _exit(2) at the n-th call, from 1, of open, write, fsync, close and rename
// together. The exit code is the first letter of the call's name.
void armCut(Cut cut, int n);

// Descriptors of this process that are open.
int openDescriptors();

}  // namespace world
