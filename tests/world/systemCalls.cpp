#include "tests/world/systemCalls.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <utility>

namespace world {
namespace {

struct Armed {
  const char* function = nullptr;
  int countdown = 0;
  int times = 0;
  int error = 0;
  int shortBy = -1;
  bool fired = false;
  std::function<void()> act = {};
};

Armed armed;

// Counts a call; true when it is one to interfere with.
bool isStruck(const char* function) {
  if (armed.function == nullptr || std::strcmp(armed.function, function) != 0 || --armed.countdown > 0 ||
      --armed.times < 0) {
    return false;
  }
  armed.fired = true;
  if (armed.act) {
    armed.act();
    return false;
  }
  errno = armed.error;
  return true;
}

// The bytes that a short transfer leaves out; what is struck after it fails when there is an error.
size_t takeShortBy() {
  return static_cast<size_t>(armed.error == 0 ? armed.shortBy : std::exchange(armed.shortBy, -1));
}

Cut cutKind = Cut::kBefore;
int callsUntilCut = 0;  // 0: not armed
int unsecured = -1;     // the file last written, until its fsync

// Stands in a wrapper for as long as its call takes.
class CutPoint {
 public:
  explicit CutPoint(const char* function, int fd = -1)
      : name(function[0]), file(fd), isArmed(callsUntilCut > 0), isCut(isArmed && --callsUntilCut == 0) {
    if (isCut && (cutKind == Cut::kBefore || (cutKind == Cut::kHalfway && name != 'w'))) {
      _exit(name);
    }
  }
  ~CutPoint() {
    if (isArmed && name == 'w') {
      unsecured = file;
    } else if (isArmed && name == 'f' && file == unsecured) {
      unsecured = -1;
    }
    if (isCut) {
      _exit(cutKind == Cut::kPowerLoss && unsecured != -1 && ftruncate(unsecured, 0) != 0 ? 1 : name);
    }
  }
  CutPoint(const CutPoint&) = delete;
  CutPoint& operator=(const CutPoint&) = delete;

  size_t taken(size_t size) const { return isCut && cutKind == Cut::kHalfway ? size / 2 : size; }

 private:
  char name;
  int file;
  bool isArmed;
  bool isCut;
};

}  // namespace

SystemCalls& SystemCalls::instance() {
  thread_local SystemCalls calls;
  return calls;
}

Fault::Fault(const char* function, int n, int error, int shortBy, int times) {
  armed = {function, n, times, error, shortBy};
}

Fault::Fault(const char* function, int n, std::function<void()> act) {
  armed = {function, n, 1, 0, -1, false, std::move(act)};
}

Fault::~Fault() {
  armed = {};
}

bool Fault::hasFired() const {
  return armed.fired;
}

void armCut(Cut cut, int n) {
  cutKind = cut;
  callsUntilCut = n;
}

int openDescriptors() {
  return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

}  // namespace world

using world::armed;
using world::CutPoint;
using world::isStruck;
using world::SystemCalls;
using world::takeShortBy;

extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_close(int fd);
ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __real_write(int fd, const void* buffer, size_t size);
int __real_fsync(int fd);
int __real_rename(const char* from, const char* to);
int __real_flock(int fd, int operation);
int __real_tcgetattr(int fd, termios* line);
int __real_tcsetattr(int fd, int when, const termios* line);
int __real_ioctl(int fd, unsigned long request, ...);
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);

int __wrap_open(const char* path, int flags, ...) {
  va_list args;
  va_start(args, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
  va_end(args);
  const CutPoint point("open");
  SystemCalls::instance().lastOpenFlags = flags;
  return isStruck("open") ? -1 : __real_open(path, flags, mode);
}

int __wrap_close(int fd) {
  const CutPoint point("close");
  return isStruck("close") ? -1 : __real_close(fd);
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
  ++SystemCalls::instance().readCount;
  if (isStruck("read")) {
    return armed.shortBy < 0 ? -1 : __real_read(fd, buffer, size - takeShortBy());
  }
  return __real_read(fd, buffer, size);
}

ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
  const CutPoint point("write", fd);
  if (isStruck("write")) {
    return armed.shortBy < 0 ? -1 : __real_write(fd, buffer, size - takeShortBy());
  }
  return __real_write(fd, buffer, point.taken(size));
}

int __wrap_fsync(int fd) {
  const CutPoint point("fsync", fd);
  return isStruck("fsync") ? -1 : __real_fsync(fd);
}

int __wrap_rename(const char* from, const char* to) {
  const CutPoint point("rename");
  return isStruck("rename") ? -1 : __real_rename(from, to);
}

int __wrap_flock(int fd, int operation) {
  return isStruck("flock") ? -1 : __real_flock(fd, operation);
}

int __wrap_tcgetattr(int fd, termios* line) {
  return isStruck("tcgetattr") ? -1 : __real_tcgetattr(fd, line);
}

int __wrap_tcsetattr(int fd, int when, const termios* line) {
  ++SystemCalls::instance().setAttrCount;
  SystemCalls::instance().lastLineSettings = *line;
  return isStruck("tcsetattr") ? -1 : __real_tcsetattr(fd, when, line);
}

int __wrap_ioctl(int fd, unsigned long request, ...) {
  va_list args;
  va_start(args, request);
  void* const argument = va_arg(args, void*);
  va_end(args);
  SystemCalls& calls = SystemCalls::instance();
  int* const lines = static_cast<int*>(argument);
  if (calls.modemLines == -1 || (request != TIOCMGET && request != TIOCMSET)) {
    return __real_ioctl(fd, request, argument);
  }
  if (request == TIOCMGET) {
    *lines = calls.modemLines;
  } else if (calls.refuseSetLines) {
    errno = EIO;
    return -1;
  } else {
    calls.modemLines = *lines;
  }
  return 0;
}

void* __wrap_malloc(size_t size) {
  return isStruck("malloc") ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(size_t count, size_t size) {
  return isStruck("calloc") ? nullptr : __real_calloc(count, size);
}

}  // extern "C"
