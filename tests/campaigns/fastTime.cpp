// A library to preload: time runs as fast as the control page says, and a chosen system call is a process's last.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/campaigns/control.h"

namespace {

constexpr std::int64_t kSecondNs = 1000000000;

// Other libraries' constructors, which run before this one's, ask for the time.
campaign::Control& control() {
  static auto* const page =
      static_cast<campaign::Control*>(mmap(nullptr, sizeof(campaign::Control), PROT_READ | PROT_WRITE, MAP_SHARED,
                                           open(getenv("ORVIX_CONTROL"), O_RDWR), 0));
  return *page;
}

timespec timeOf(std::int64_t ns) {
  return {static_cast<time_t>(ns / kSecondNs), static_cast<long>(ns % kSecondNs)};
}

template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// The real function, if this is not the victim's last call.
template <class Function>
Function* counted(const char* name) {
  const bool isVictim = (getpid() == control().supervisor) == control().isSupervisorVictim;
  if (isVictim && control().callsLeft > 0 && control().callsLeft.fetch_sub(1) == 1) {
    kill(control().takesAll ? 0 : getpid(), SIGKILL);
  }
  return real<Function>(name);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  static auto* const original = real<decltype(clock_gettime)>("clock_gettime");
  const int result = original(clock, time);
  if (clock == CLOCK_REALTIME || clock == CLOCK_MONOTONIC) {
    const std::int64_t startNs = clock == CLOCK_REALTIME ? control().wallStartNs : 0;
    *time = timeOf(startNs + (campaign::nsOf(*time) - startNs) * control().speed);
  }
  return result;
}

int nanosleep(const timespec* span, timespec* left) {
  const timespec shorter = timeOf(campaign::nsOf(*span) / control().speed);
  return counted<decltype(nanosleep)>("nanosleep")(&shorter, left);
}

int usleep(useconds_t us) {
  const timespec span = timeOf(std::int64_t{us} * 1000);
  return nanosleep(&span, nullptr);
}

int poll(pollfd* watched, nfds_t count, int timeoutMs) {
  const timespec span = timeOf(std::int64_t{timeoutMs} * 1000000 / control().speed);
  return ppoll(watched, count, timeoutMs < 0 ? nullptr : &span, nullptr);
}

ssize_t write(int file, const void* bytes, size_t size) {
  return counted<decltype(write)>("write")(file, bytes, size);
}

ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t offset) {
  return counted<decltype(pwrite64)>("pwrite64")(file, bytes, size, offset);
}

ssize_t send(int socket, const void* bytes, size_t size, int flags) {
  return counted<decltype(send)>("send")(socket, bytes, size, flags);
}

int fsync(int file) {
  return counted<decltype(fsync)>("fsync")(file);
}

int fdatasync(int file) {
  return counted<decltype(fdatasync)>("fdatasync")(file);
}

int ftruncate64(int file, off64_t size) noexcept {
  return counted<decltype(ftruncate64)>("ftruncate64")(file, size);
}

int unlink(const char* path) noexcept {
  return counted<decltype(unlink)>("unlink")(path);
}

int rename(const char* from, const char* to) noexcept {
  return counted<decltype(rename)>("rename")(from, to);
}

}  // extern "C"
#pragma GCC visibility pop
