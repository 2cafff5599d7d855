// The worker's end of the socket. One thread, but for send and lastSentMs, which any may call.
//
// A worker is nothing without its supervisor: when the socket is closed, or what comes over it makes no sense, the
// process ends inside the call, whatever it was doing.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

#include "gateway/worker/protocol.h"

namespace orvix::gateway {

class SupervisorLink {
 public:
  // The socket is borrowed.
  explicit SupervisorLink(int descriptor) : socket(descriptor) {}

  int descriptor() const { return socket; }
  // Blocks until the supervisor has taken it all; ends the process when that is gone.
  void send(const FromWorker& message);
  // When the last message was sent, by nowMs of workerTime.h.
  std::int64_t lastSentMs() const;

  // Takes in what has come, waiting up to `timeoutMs` for the first byte; -1 waits for ever, 0 not at all.
  // Orders are kept until they are asked for, one of each kind: the supervisor gives the next attempt only when one has
  // ended.
  void receive(int timeoutMs = 0);
  // The order to start; waits for it.
  StartOrder waitForStart();
  // An attempt that was ordered, once.
  std::optional<AttemptOrder> takeAttempt();
  // Waits for the supervisor's leave to write the text; false when it did not come in time.
  bool waitForGoAhead(int timeoutMs);
  // Once the order to stop has come: until when a late result may be listened for.
  // By nowMs of workerTime.h.
  std::optional<std::int64_t> stopListeningMs() const { return stopMs; }
  bool isStopWished() const { return stopMs.has_value(); }

 private:
  // Each order is kept until it is asked for.
  void take(const StartOrder& order) { start = order; }
  void take(const AttemptOrder& order) { attempt = order; }
  void take(const GoAhead& /*order*/) { isAllowed = true; }
  void take(const StopOrder& order);

  int socket;
  mutable std::mutex sending;  // one whole frame after the other
  std::int64_t sentMs = 0;
  FrameBuffer incoming;
  std::optional<StartOrder> start;
  std::optional<AttemptOrder> attempt;
  bool isAllowed = false;
  std::optional<std::int64_t> stopMs;
};

}  // namespace orvix::gateway
