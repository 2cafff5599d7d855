// A library to preload: time runs as fast as the control page says, a chosen system call is a process's last, and what
// leaves the process is recorded: a line "KIND INODE OFFSET SIZE PATH" and SIZE bytes each.
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

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

// Only where a file for it is beside the control page.
void record(char kind, ino_t inode, off64_t offset, const char* path, const void* bytes, std::size_t size) {
  static const int log = open((std::string(getenv("ORVIX_CONTROL")) + ".record").c_str(), O_WRONLY | O_APPEND);
  std::string entry = std::string(1, kind) + " " + std::to_string(inode) + " " + std::to_string(offset) + " " +
                      std::to_string(size) + " " + path + "\n";
  entry.append(static_cast<const char*>(bytes), size);
  if (log != -1) {
    real<decltype(write)>("write")(log, entry.data(), entry.size());
  }
}

// KIND by the descriptor, unless it is given: w writes to a file, l to a modem's line, o to a socket; s and d are syncs
// of a file and of a folder, t, u and r are ftruncate, unlink and rename.
void record(int file, char kind, off64_t offset, const void* bytes, std::size_t size) {
  struct stat status {};
  char path[PATH_MAX] = "";
  if (file > 2 && fstat(file, &status) == 0) {
    (void)!readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path - 1);
    kind = S_ISDIR(status.st_mode) ? 'd' : S_ISSOCK(status.st_mode) ? 'o' : S_ISCHR(status.st_mode) ? 'l' : kind;
    record(kind, status.st_ino, offset, path, bytes, size);
  }
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
  record(file, 'w', -1, bytes, size);
  return counted<decltype(write)>("write")(file, bytes, size);
}

ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t offset) {
  record(file, 'w', offset, bytes, size);
  return counted<decltype(pwrite64)>("pwrite64")(file, bytes, size, offset);
}

ssize_t send(int socket, const void* bytes, size_t size, int flags) {
  record(socket, 'o', 0, bytes, size);
  return counted<decltype(send)>("send")(socket, bytes, size, flags);
}

ssize_t sendmsg(int socket, const msghdr* message, int flags) {
  for (std::size_t i = 0; i < message->msg_iovlen; ++i) {
    record(socket, 'o', 0, message->msg_iov[i].iov_base, message->msg_iov[i].iov_len);
  }
  return counted<decltype(sendmsg)>("sendmsg")(socket, message, flags);
}

int fsync(int file) {
  const int result = counted<decltype(fsync)>("fsync")(file);
  record(file, 's', 0, "", 0);
  return result;
}

int fdatasync(int file) {
  const int result = counted<decltype(fdatasync)>("fdatasync")(file);
  record(file, 's', 0, "", 0);
  return result;
}

int ftruncate64(int file, off64_t size) noexcept {
  record(file, 't', size, "", 0);
  return counted<decltype(ftruncate64)>("ftruncate64")(file, size);
}

int unlink(const char* path) noexcept {
  record('u', 0, 0, path, "", 0);
  return counted<decltype(unlink)>("unlink")(path);
}

int rename(const char* from, const char* to) noexcept {
  record('r', 0, 0, from, to, strlen(to));
  return counted<decltype(rename)>("rename")(from, to);
}

}  // extern "C"
#pragma GCC visibility pop
