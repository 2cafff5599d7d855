#include "program/standardStreams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>

namespace orvix::program {

void openStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // open takes the lowest number that is free: in this order the stream itself.
    if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) != stream) {
      _exit(1);
    }
  }
}

bool isOutputLost() {
  std::cout.flush();
  struct stat output {};
  const bool isPipe = fstat(STDOUT_FILENO, &output) == 0 && S_ISFIFO(output.st_mode);
  return !std::cout && !isPipe;
}

}  // namespace orvix::program
