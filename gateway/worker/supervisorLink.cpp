#include "gateway/worker/supervisorLink.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "gateway/worker/workerTime.h"

namespace orvix::gateway {
namespace {

constexpr int kOrphaned = 1;

// Without destructors: closing the line is the kernel's, and may take long.
[[noreturn]] void endOrphaned() {
  _exit(kOrphaned);
}

void waitFor(int socket, short events, int timeoutMs) {
  pollfd event{socket, events, 0};
  poll(&event, 1, timeoutMs);
}

}  // namespace

void SupervisorLink::send(const FromWorker& message) {
  const std::string bytes = encoded(message);
  const std::lock_guard<std::mutex> guard(sending);
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    // A supervisor that is busy with a commit reads soon; one that is gone wakes this with an error.
    if (count < 0 && errno == EAGAIN) {
      waitFor(socket, POLLOUT, -1);
    } else if (count < 0 && errno != EINTR) {
      endOrphaned();
    }
    sent += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  sentMs = nowMs();
}

std::int64_t SupervisorLink::lastSentMs() const {
  const std::lock_guard<std::mutex> guard(sending);
  return sentMs;
}

void SupervisorLink::receive(int timeoutMs) {
  waitFor(socket, POLLIN, timeoutMs);
  char bytes[4096];
  const ssize_t count = recv(socket, bytes, sizeof bytes, MSG_DONTWAIT);
  // Its end of the socket is closed: whatever it was, it is gone.
  if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
    endOrphaned();
  }
  incoming.append({bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))});
  try {
    while (const std::optional<Frame> frame = incoming.next()) {
      std::visit([this](const auto& order) { take(order); }, toWorkerOf(*frame));
    }
  } catch (const ProtocolError&) {
    endOrphaned();
  }
}

StartOrder SupervisorLink::waitForStart() {
  while (!start) {
    receive(-1);
  }
  return *start;
}

std::optional<AttemptOrder> SupervisorLink::takeAttempt() {
  return std::exchange(attempt, std::nullopt);
}

// Other orders that come meanwhile are kept.
bool SupervisorLink::waitForGoAhead(int timeoutMs) {
  // Leave that came too late for the last attempt is none for this one.
  isAllowed = false;
  const std::int64_t endMs = nowMs() + timeoutMs;
  while (!isAllowed && nowMs() < endMs) {
    receive(static_cast<int>(endMs - nowMs()));
  }
  return isAllowed;
}

void SupervisorLink::take(const StopOrder& order) {
  stopMs = nowMs() + std::int64_t{order.listenSeconds} * 1000;
}

}  // namespace orvix::gateway
