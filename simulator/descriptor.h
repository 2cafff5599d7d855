// A file descriptor that closes itself, and the one way from errno to an exception. One thread at a time.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace orvix::simulator {

// Throws std::system_error for errno, with the text "<action><object>: <text of errno>". To be called at once after the
// call that failed, before anything else can change errno.
[[noreturn]] inline void throwErrno(const char* action, const std::string& object = {}) {
  const int code = errno;
  throw std::system_error(code, std::generic_category(), action + object);
}

// Moves only: it has one owner, and is closed with it.
class Descriptor {
 public:
  // Owns what it is given; -1 stands for none. Assignment leaves what was owned before to the other side: assign from
  // a temporary to close it at once.
  explicit Descriptor(int opened = -1) noexcept : value(opened) {}
  Descriptor(Descriptor&& other) noexcept : value(std::exchange(other.value, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value, other.value);
    return *this;
  }
  // Not tried again when a signal interrupts it: on Linux the descriptor is gone even so (close(2)).
  ~Descriptor() {
    if (value >= 0) {
      ::close(value);
    }
  }

  // Borrowed: never close it.
  // -1 when there is none.
  int get() const noexcept { return value; }

 private:
  int value;
};

}  // namespace orvix::simulator
