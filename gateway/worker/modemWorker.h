// Keeps one modem in service and sends what is ordered: the whole work of a worker process. One thread.
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

class ModemWorker {
 public:
  // `supervisor` is borrowed. Throws hostkit::Error when the plug-in or the configuration is not fit to work with.
  ModemWorker(SupervisorLink* supervisor, const StartOrder& order);

  // Returns when the supervisor wishes a stop, with the line closed.
  void run();

 private:
  // Between two steps.
  void lookAround();
  void onAppearance();
  // To keep the modem in service.
  void takeStep();
  void startDevice();
  void report();
  void heal();
  void loseLine(const std::string& why);

  // One message, from its order to its result and to what the modem needs behind it.
  void attempt(const AttemptOrder& order);
  void refuse(const std::string& why, bool counts);
  hostkit::Judgement judgementOf(const AttemptOrder& order) const;
  hostkit::Judgement send(const AttemptOrder& order);
  void prepareNext(const hostkit::Judgement& judgement, const AttemptResult& result);
  void awaitPrompt(const AttemptOrder& order);
  void listen(const std::string& what, std::int64_t seconds, const std::function<bool()>& isEnough);

  void showLife();
  void tellDoing(const std::string& what, bool isCall);
  // Both tell the supervisor of a change alone.
  void tellReady();
  void tellNotReady(const std::string& why);
  std::string troubleOf(const Status& status) const;
  void countProbe();

  SupervisorLink* link;
  StartOrder settings;
  AttemptTap tap;
  hostkit::LineTrace trace;
  hostkit::ModemDevice device;
  LineAppearance appearance;
  std::unique_ptr<hostkit::LineWatch> watch;  // none while the line is away

  ModemState state = ModemState::kNoData;
  std::string reason;
  std::string doing;
  bool wasLost = false;
  bool needsHealing;
  bool awaitsNetwork = false;  // a message was refused for want of one
  bool isSuspect = false;      // it refused a message for itself or its SIM card, whatever its reports say
  int unansweredProbes = 0;
  std::int64_t delayMs;
  std::int64_t dueMs = 0;  // of the next step to keep the modem in service
};

}  // namespace orvix::gateway
