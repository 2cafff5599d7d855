// Tells the supervisor that the line hung up while a call into the plug-in keeps the worker's thread: the plug-in does
// not notice, and waits for answers that cannot come. One thread owns it; it has one of its own.
#pragma once

#include <thread>

#include "gateway/worker/supervisorLink.h"

namespace orvix::gateway {

class HangUpAlarm {
 public:
  // Watches until its end. `line` is a descriptor of the line, -1 for none; both are borrowed.
  // Tells it once (LineLostNews), 250 ms after the hang-up, unless the call has ended by then: what the plug-in read
  // before is told first.
  HangUpAlarm(int line, SupervisorLink* supervisor);
  // Ends the thread and waits for it: at once, but for a frame that is just being sent.
  ~HangUpAlarm();
  HangUpAlarm(const HangUpAlarm&) = delete;
  HangUpAlarm& operator=(const HangUpAlarm&) = delete;

 private:
  int over;  // an eventfd: the call has ended
  std::thread watcher;
};

}  // namespace orvix::gateway
