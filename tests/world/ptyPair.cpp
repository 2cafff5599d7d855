#include "tests/world/ptyPair.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace world {

PtyPair::PtyPair() {
  master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
  grantpt(master);
  unlockpt(master);
  char name[64];
  ptsname_r(master, name, sizeof name);
  slavePath = name;
  slave = open(name, O_RDWR | O_NOCTTY | O_NONBLOCK);
  termios raw{};
  tcgetattr(slave, &raw);
  cfmakeraw(&raw);
  tcsetattr(slave, TCSANOW, &raw);
}

PtyPair::~PtyPair() {
  hangUp();
  close(slave);
}

void PtyPair::send(const std::string& bytes) {
  if (master == -1) {
    return;
  }
  int before = 0;
  ioctl(slave, FIONREAD, &before);
  ASSERT_EQ(write(master, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  constexpr int kLineHolds = 4095;  // the rest of a flood waits behind it
  const int expected = std::min(before + static_cast<int>(bytes.size()), kLineHolds);
  for (int waiting = 0; waiting < expected;) {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the line swallowed bytes";
    ioctl(slave, FIONREAD, &waiting);
  }
}

std::string PtyPair::receive() {
  std::string bytes;
  char part[256];
  pollfd ready{master, POLLIN, 0};
  while (master != -1 && poll(&ready, 1, 0) == 1 && (ready.revents & POLLIN) != 0) {
    const ssize_t count = read(master, part, sizeof part);
    if (count <= 0) {
      break;
    }
    bytes.append(part, static_cast<std::size_t>(count));
  }
  return bytes;
}

void PtyPair::hangUp() {
  if (master != -1) {
    close(master);
    master = -1;
  }
}

}  // namespace world
