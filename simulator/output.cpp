#include "simulator/output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace orvix::simulator {

void Output::write(std::string_view text) const {
  while (!text.empty()) {
    pollfd events[] = {{descriptor, POLLOUT, 0}, {stopDescriptor, POLLIN, 0}};
    if (::poll(events, 2, -1) < 0) {
      if (errno == EINTR) {
        continue;
      }
      return;
    }
    // Only the stop is ready.
    if (events[0].revents == 0) {
      return;
    }
    // A pipe that is ready takes that much without waiting.
    const ssize_t count = ::write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (count < 0 && errno != EINTR && errno != EAGAIN) {
      return;
    }
    text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
}

}  // namespace orvix::simulator
