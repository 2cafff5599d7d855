// Keeps one modem in service and sends what is ordered: the whole work of a worker process. One thread.
//
// It goes round: look at what has come (orders, a hang-up, a line that appeared), then take one step, which is one call
// into the plug-in. A call cannot be broken off; the supervisor kills the process when one lasts too long.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "gateway/worker/attemptTap.h"
#include "gateway/worker/lineAppearance.h"
#include "gateway/worker/supervisorLink.h"
#include "hostkit/lineWatch.h"
#include "hostkit/modemDevice.h"
#include "hostkit/verdict.h"

namespace orvix::gateway {

// Where time goes: a probe takes 1.5 s, a report 3 s, a message 8 s (16 s at worst) and up to lateSeconds of listening
// after it; closing a line that no longer drains takes 30 s. Orders and the stop are looked at between two calls, and
// while listening.
class ModemWorker {
 public:
  // `supervisor` is borrowed. Opens no line yet. Throws hostkit::Error when the plug-in or the configuration is not fit
  // to work with.
  ModemWorker(SupervisorLink* supervisor, const StartOrder& order);

  // Returns when the supervisor wishes a stop, with the line closed.
  void run();

 private:
  // Between two steps: waits until something comes or the next step is due.
  void lookAround();
  void onAppearance();
  // To keep the modem in service: each is one step, and sets `dueMs`, the time of the next one.
  void takeStep();
  // Each ends in tellReady or tellNotReady, and so in a time for the next step.
  void startDevice();
  void report();
  void heal();
  // Closes the device, so that the next step looks for its line anew.
  void loseLine(const std::string& why);

  // One message, from its order to its result and to what the modem needs after it.
  void attempt(const AttemptOrder& order);
  // Ends an order without a byte to the modem; `counts` as an attempt.
  void refuse(const std::string& why, bool counts);
  hostkit::Judgement judgementOf(const AttemptOrder& order) const;
  // The call, and the wait for a late result after it.
  hostkit::Judgement send(const AttemptOrder& order);
  void prepareNext(const hostkit::Judgement& judgement, const AttemptResult& result);
  // Waits for the prompt that the plug-in no longer waited for, so that the Escape comes after it.
  void awaitPrompt(const AttemptOrder& order);
  // Reads the line for so long at most, or until it is enough; writes nothing.
  void listen(const std::string& what, std::int64_t seconds, const std::function<bool()>& isEnough);

  // One call into the plug-in; the tap holds its traffic alone afterwards.
  void call(const std::string& what, bool isAttempt, const std::function<void()>& work);
  // A word to the supervisor after 30 s without one.
  void showLife();
  // `isCall`: the next thing is a call into the plug-in, whose time the supervisor watches.
  void tellDoing(const std::string& what, bool isCall);
  // Both tell the supervisor of a change alone.
  void tellReady();
  void tellNotReady(const std::string& why);
  std::string troubleOf(const Status& status) const;
  // After each call: two in a row without a final result, and the modem is taken to wait at its prompt.
  void countProbe();

  SupervisorLink* link;
  StartOrder settings;
  AttemptTap tap;
  // Made before the device and gone after it, whose traffic it hands on.
  hostkit::LineTrace trace;
  hostkit::ModemDevice device;
  LineAppearance appearance;
  // A second descriptor of the line: it tells of a hang-up, listens for what comes late, and keeps DTR up between
  // the device's Stop and Start.
  std::unique_ptr<hostkit::LineWatch> watch;  // none while the line is away

  // As the supervisor was told last.
  ModemState state = ModemState::kNoData;
  std::string reason;
  std::string doing;
  bool wasLost;                // and has not been back since
  bool needsHealing;           // an Escape before any other byte
  bool awaitsNetwork = false;  // a message was refused for want of one
  bool isSuspect = false;      // it refused a message for itself or its SIM card, whatever its reports say
  int unansweredProbes = 0;
  std::int64_t delayMs;    // of the backoff while the modem is not ready
  std::int64_t dueMs = 0;  // of the next step to keep the modem in service
};

}  // namespace orvix::gateway
