#include "tests/world/fakeWorkers.h"

#include <map>
#include <utility>

namespace {

std::map<std::string, world::FakeWorker> workers;

}  // namespace

namespace world {

FakeWorker& worker(const std::string& modem) {
  return workers.at(modem);
}

void FakeWorker::report(const std::string& registration) {
  orvix::gateway::ModemReport told;
  told.dBm = -73;
  told.percent = 63;
  told.registration = registration;
  listener->onReport(modem, told);
}

void FakeWorker::end(const orvix::gateway::AttemptResult& result) {
  const auto over = std::exchange(order, std::nullopt);
  listener->onAttemptEnded(modem, over->id, over->number, result);
}

void FakeWorker::die() {
  listener->onDied(modem, std::exchange(order, std::nullopt), "recorded so far", "killed");
}

}  // namespace world

namespace orvix::gateway {

const char* wordOf(ModemState state) {
  return state == ModemState::kReady ? "ready" : state == ModemState::kNotAvailable ? "notAvailable" : "noData";
}

struct WorkerProcess::State {
  world::FakeWorker* fake;
};

WorkerProcess::WorkerProcess(const ModemConfig& modem, const std::string& /*plugin*/, int /*lateSeconds*/,
                             WorkerListener* listener, const std::string& /*program*/)
    : state(std::make_unique<State>()) {
  world::FakeWorker& fake = workers[modem.name];
  fake = {};
  fake.modem = modem.name;
  fake.listener = listener;
  state->fake = &fake;
}

WorkerProcess::~WorkerProcess() = default;

void WorkerProcess::escapeFirst() {
  ++state->fake->escapes;
}

void WorkerProcess::start(std::int64_t /*nowMs*/) {
  state->fake->isRunning = true;
}

void WorkerProcess::attempt(const AttemptOrder& order, std::int64_t /*nowMs*/) {
  state->fake->order = order;
  state->fake->mayGoAhead = false;
}

void WorkerProcess::goAhead() {
  state->fake->mayGoAhead = true;
}

void WorkerProcess::stop(int /*listenSeconds*/, std::int64_t /*nowMs*/) {
  state->fake->isRunning = false;
}

bool WorkerProcess::isRunning() const {
  return state->fake->isRunning;
}

std::optional<std::int64_t> WorkerProcess::nextTimeMs() const {
  return std::nullopt;
}

}  // namespace orvix::gateway
