#include "gateway/service/service.h"

#include <glog/logging.h>
#include <unistd.h>

#include "common/duration.h"
#include "common/printable.h"
#include "gateway/service/serviceState.h"

namespace orvix::gateway {

Service::State::State(const Config& configuration, Outbox* store, ServiceClock* serviceClock)
    : config(configuration), outbox(store), clock(serviceClock) {
  for (const ModemConfig& modem : config.modems) {
    Modem& made = modems.emplace_back();
    made.config = modem;
    made.view.name = modem.name;
    made.view.line = modem.line;
    made.worker = std::make_unique<WorkerProcess>(modem, config.plugin, config.sending.lateSeconds, this);
  }
}

Service::Service(const Config& config, Outbox* outbox, ServiceClock* clock)
    : state(std::make_unique<State>(config, outbox, clock)) {
  clock->update();
  for (const std::string& name : outbox->recover(clock->nowMs())) {
    // It may be gone from the configuration since.
    if (Modem* const modem = state->find(name)) {
      modem->worker->escapeFirst();
    }
  }
  // Before any door opens: whoever asks must see what the start made of it.
  outbox->commit();
}

Service::~Service() = default;

const Metrics& Service::metrics() const {
  return state->metrics;
}

const Config& Service::config() const {
  return state->config;
}

std::int64_t Service::nowMs() const {
  return state->clock->nowMs();
}

std::int64_t Service::offsetMs() const {
  return state->clock->offsetMs();
}

void Service::addListener(ServiceListener* listener) {
  state->listeners.push_back(listener);
}

void Service::onCommitted(std::function<void(bool)> done) {
  state->waiting.push_back(std::move(done));
}

void Service::beat() {
  const std::optional<HeartbeatConfig>& heartbeat = state->config.heartbeat;
  if (!heartbeat || nowMs() < state->nextHeartbeatMs) {
    return;
  }
  const std::int64_t wallMs = nowMs() + offsetMs();
  state->nextHeartbeatMs = nowMs() + kMinuteMs - wallMs % kMinuteMs;
  const std::optional<std::string> date = heartbeatDate(wallMs, heartbeat->minuteOfDay);
  if (!date || *date == state->lastHeartbeat) {
    return;
  }
  // One byte is left for the zero that gethostname may leave out.
  char host[256] = "";
  gethostname(host, sizeof host - 1);
  const Counts now = counts();
  Submission submission;
  submission.id = "heartbeat-" + *date;
  submission.to = {heartbeat->to};
  submission.text = "gsm-gateway " + std::string(host) + " alive, " + std::to_string(now.of(MessageState::kQueued)) +
                    " queued, " + std::to_string(now.of(MessageState::kUncertain)) + " uncertain";
  // The id keeps a restart from sending it twice: with other counts the same id is refused.
  // As the socket, whose rights know no limit.
  const auto result = submit(Caller{"socket", Rights{{"*"}, 0, Priority::kAlarm, true}}, submission);
  const auto* const refusal = std::get_if<Refusal>(&result);
  // The queue or the disk is full: asked again in a minute, as long as the hour lasts.
  if (refusal != nullptr && refusal->status == 503) {
    return;
  }
  if (refusal != nullptr && refusal->status != 409) {
    LOG(WARNING) << "heartbeat: " << escaped(refusal->error);
  }
  onCommitted(
      [this, date = *date](bool isCommitted) { state->lastHeartbeat = isCommitted ? date : state->lastHeartbeat; });
}

}  // namespace orvix::gateway
