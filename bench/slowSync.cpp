// fsync(2) and fdatasync(2) as a flash card has them: each takes BENCH_SYNC_MS more. The bench and the service that it
// measures, which loads this first, sync with these.

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace {

int syncSlowly(long call, int descriptor) {
  const char* const text = std::getenv("BENCH_SYNC_MS");
  if (text != nullptr) {
    const timespec wait{0, std::strtol(text, nullptr, 10) * 1000000};
    nanosleep(&wait, nullptr);
  }
  return static_cast<int>(syscall(call, descriptor));
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int fsync(int descriptor) {
  return syncSlowly(SYS_fsync, descriptor);
}

[[gnu::visibility("default")]] int fdatasync(int descriptor) {
  return syncSlowly(SYS_fdatasync, descriptor);
}

}  // extern "C"
