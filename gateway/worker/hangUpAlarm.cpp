#include "gateway/worker/hangUpAlarm.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace orvix::gateway {
namespace {

// What the plug-in has read of the line by now is told before its loss.
constexpr int kGraceMs = 250;

// No event is asked of the line: a hang-up shows all the same.
void watch(int line, int over, SupervisorLink* link) {
  pollfd events[] = {{over, POLLIN, 0}, {line, 0, 0}};
  while (poll(events, 2, -1) < 0) {
  }
  if (events[0].revents == 0 && poll(events, 1, kGraceMs) == 0) {
    link->send(LineLostNews{});
  }
}

}  // namespace

HangUpAlarm::HangUpAlarm(int line, SupervisorLink* supervisor)
    : over(eventfd(0, EFD_CLOEXEC)), watcher(watch, line, over, supervisor) {
}

HangUpAlarm::~HangUpAlarm() {
  eventfd_write(over, 1);
  watcher.join();
  close(over);
}

}  // namespace orvix::gateway
