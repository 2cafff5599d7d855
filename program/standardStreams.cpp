#include "program/standardStreams.h"

#include <fcntl.h>
#include <unistd.h>

namespace orvix::program {

void openStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // open takes the lowest number that is free: in this order the stream itself.
    if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) != stream) {
      _exit(1);
    }
  }
}

}  // namespace orvix::program
