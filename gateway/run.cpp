#include "gateway/run.h"

#include <poll.h>
#include <systemd/sd-daemon.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/printable.h"
#include "gateway/http/httpDoor.h"
#include "gateway/mqtt/mqttDoor.h"
#include "gateway/outbox/outbox.h"
#include "gateway/service/clock.h"
#include "gateway/service/service.h"
#include "program/complaint.h"
#include "program/stopSignals.h"

namespace orvix::gateway {
namespace {

// Nothing is due so seldom; a clock that was set is noticed within this.
constexpr std::int64_t kMostIdleMs = 60000;
constexpr int kListenAfterStopSeconds = 10;
constexpr std::int64_t kPatienceMs = 25000;     // from the signal until what still runs is killed
constexpr std::int64_t kLongestStopMs = 26500;  // then the broker was told, or never will be

// The service and its doors around one poll. What is ready is asked without a look at which event it was: every part
// finds out itself and returns at once when there is nothing.
class Loop {
 public:
  // `broker` may be null.
  Loop(Service* served, HttpDoor* door, MqttDoor* broker) : service(served), http(door), mqtt(broker) {
    std::uint64_t watchdogUs = 0;
    if (sd_watchdog_enabled(0, &watchdogUs) > 0) {
      // Half of what systemd waits: 2000 for microseconds to milliseconds, and two.
      watchdogMs = static_cast<std::int64_t>(watchdogUs / 2000);
    }
  }

  void run() {
    while (!isOver()) {
      waitForEvents();
      const std::int64_t nowMs = service->nowMs();
      http->onReady();
      if (mqtt != nullptr) {
        mqtt->onReady();
      }
      for (WorkerProcess* const worker : service->workers()) {
        worker->onReady(nowMs);
        worker->onTime(nowMs);
      }
      // After the events, so that what came before the signal is not lost.
      if (program::isStopWished() && !stoppedMs) {
        beginStop(nowMs);
      }
      // One commit for all that this round brought; doors answer from inside it.
      service->settle();
      // After the commit: what is told is durable.
      if (mqtt != nullptr) {
        mqtt->tell();
      }
      notifySystemd(nowMs);
    }
  }

 private:
  bool isOver() {
    if (!stoppedMs) {
      return false;
    }
    const std::int64_t stoppingMs = service->nowMs() - *stoppedMs;
    if (stoppingMs >= kPatienceMs && !std::exchange(haveKilled, true)) {
      for (WorkerProcess* const worker : service->workers()) {
        worker->kill();
      }
      return false;  // what became of their messages is still to be committed
    }
    return ((service->isStopped() || haveKilled) && isGoodbyeSaid()) || stoppingMs >= kLongestStopMs;
  }

  // The last thing that leaves, so that nobody takes the gateway for gone while it still sends.
  bool isGoodbyeSaid() {
    if (mqtt != nullptr && !isGoodbyeBegun) {
      mqtt->stop();
      isGoodbyeBegun = true;
    }
    return mqtt == nullptr || mqtt->isStopped();
  }

  void beginStop(std::int64_t nowMs) {
    stoppedMs = nowMs;
    sd_notify(0, "STOPPING=1");
    // Clients that are connected may still ask what became of their messages.
    http->stopAccepting();
    service->stop(kListenAfterStopSeconds);
  }

  void waitForEvents() {
    // Anew in each round: workers come and go. A negative descriptor is ignored by poll.
    std::vector<pollfd> watched;
    if (!stoppedMs) {  // readable from then on
      watched.push_back({program::stopDescriptor(), POLLIN, 0});
    }
    for (const int descriptor : http->descriptors()) {
      watched.push_back({descriptor, POLLIN, 0});
    }
    if (mqtt != nullptr) {
      watched.push_back({mqtt->descriptor(), POLLIN, 0});
    }
    for (const WorkerProcess* const worker : service->workers()) {
      const auto events = static_cast<short>(worker->wantsToWrite() ? POLLIN | POLLOUT : POLLIN);
      watched.push_back({worker->descriptor(), events, 0});
    }
    poll(watched.data(), watched.size(), static_cast<int>(timeoutMs()));
  }

  std::int64_t timeoutMs() {
    const std::int64_t nowMs = service->nowMs();
    std::int64_t next = nowMs + kMostIdleMs;
    next = std::min(next, service->nextTimeMs().value_or(next));
    next = std::min(next, http->nextTimeMs().value_or(next));
    if (mqtt != nullptr) {
      next = std::min(next, mqtt->nextTimeMs().value_or(next));
    }
    // Whatever happens, systemd hears of us in time.
    next = watchdogMs != 0 ? std::min(next, nextWatchdogMs) : next;
    for (const std::int64_t stopMs : {kPatienceMs, kLongestStopMs}) {
      next = stoppedMs && nowMs < *stoppedMs + stopMs ? std::min(next, *stoppedMs + stopMs) : next;
    }
    return std::max<std::int64_t>(next - nowMs, 0);
  }

  void notifySystemd(std::int64_t nowMs) {
    if (watchdogMs == 0 || nowMs < nextWatchdogMs) {
      return;
    }
    nextWatchdogMs = nowMs + watchdogMs;
    // A full disk or a dead worker is no reason to be killed: that would end what still works.
    const Health health = service->health();
    const Counts counts = service->counts();
    sd_notifyf(0, "WATCHDOG=1\nSTATUS=%lld queued, %lld uncertain%s%s",
               static_cast<long long>(counts.of(MessageState::kQueued)),
               static_cast<long long>(counts.of(MessageState::kUncertain)), health.isOk ? "" : "; ",
               health.isOk ? "" : escaped(health.reasons.front()).c_str());
  }

  Service* const service;
  HttpDoor* const http;
  MqttDoor* const mqtt;
  bool haveKilled = false;
  bool isGoodbyeBegun = false;
  std::int64_t watchdogMs = 0;
  std::int64_t nextWatchdogMs = 0;
  std::optional<std::int64_t> stoppedMs;
};

}  // namespace

int runService(const Config& config) {
  // First of all: a signal during the start ends it in order.
  program::catchStopSignals();
  try {
    Outbox outbox(config.storage, config.sending);
    ServiceClock clock(outbox.storedTimeMs(), outbox.storedOffsetMs());
    Service service(config, &outbox, &clock);
    std::optional<MqttDoor> mqtt;  // before the door that tells of it, so that it ends after it
    HttpDoor http(&service, config.http);
    if (config.mqtt) {
      mqtt.emplace(&service, *config.mqtt);
      http.setOtherDoors([&] {
        const char* const state = mqtt->isConnected() ? "connected" : "not connected";
        return std::vector<DoorState>{{"mqtt", config.mqtt->broker, state}};
      });
    }
    // Last, when every door is open: nothing that can fail comes after it.
    service.startWorkers();
    sd_notifyf(0, "READY=1\nSTATUS=%zu modems, listening on %s", config.modems.size(), config.http.socket.c_str());
    Loop(&service, &http, mqtt ? &*mqtt : nullptr).run();
    return kDone;
  } catch (const StoreInUse& error) {  // told apart for scripts: that one runs already may be what they want
    program::complain("gsm-gateway", error.what());
    return kNotRunning;
  } catch (const std::exception& error) {
    program::complain("gsm-gateway", error.what());
    return kFailure;
  }
}

}  // namespace orvix::gateway
