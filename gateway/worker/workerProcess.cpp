#include "gateway/worker/workerProcess.h"

#include <glog/logging.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include "gateway/worker/spawn.h"
#include "gateway/worker/workerProcessState.h"

namespace orvix::gateway {
namespace {

// A message takes some 16 s in the plug-in, a close with a full line 30 s; a worker speaks every 30 s at least.
constexpr std::int64_t kLongestCallMs = 45000;
constexpr std::int64_t kLongestSilenceMs = 90000;
constexpr std::int64_t kLongestRestartMs = kMinuteMs;
constexpr std::int64_t kReapEveryMs = 20;
// A worker that never stops talking leaves time for the others.
constexpr int kMostReads = 16;

std::string exitText(int status) {
  return WIFSIGNALED(status) ? std::string("signal ") + strsignal(WTERMSIG(status))
                             : "status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

const char* wordOf(ModemState state) {
  switch (state) {
    case ModemState::kNoData:
      return "noData";
    case ModemState::kNotAvailable:
      return "notAvailable";
    case ModemState::kReady:
      break;
  }
  return "ready";
}

void WorkerProcess::State::startProcess(std::int64_t nowMs) {
  const Child child = spawn(program, {"gsm-gateway", "worker"});
  // Out of processes or memory, which may pass: tried again with backoff.
  if (child.pid == -1) {
    delayStart(nowMs);
    listener->onState(config.name, ModemState::kNoData, std::string("no worker can be started: ") + strerror(errno));
    return;
  }
  pid = child.pid;
  socket = child.socket;
  heardMs = nowMs;
  send(StartOrder{config.name, plugin, config.configFile, config.reportSeconds, lateSeconds, config.okIsSent,
                  config.codes, mayWaitAtPrompt, wasLineLost, FLAGS_v});
}

// A worker that dies again and again before its modem is ready costs little. That a line hung up says nothing against
// its worker, the first time.
void WorkerProcess::State::delayStart(std::int64_t nowMs) {
  startMs = isLineLost && delayMs == kFirstRestartMs ? nowMs : nowMs + delayMs;
  delayMs = std::min(2 * delayMs, kLongestRestartMs);
}

void WorkerProcess::State::send(const ToWorker& message) {
  outgoing += encoded(message);
  flush();
}

// A socket that is broken shows when it is read.
void WorkerProcess::State::flush() {
  while (socket != -1 && !outgoing.empty()) {
    const ssize_t count = ::send(socket, outgoing.data(), outgoing.size(), MSG_NOSIGNAL);
    // Full, which poll tells when it is over; or broken, which the next read tells.
    if (count <= 0) {
      return;
    }
    outgoing.erase(0, static_cast<std::size_t>(count));
  }
}

// Reads until there is nothing more. False when the worker's end is closed.
bool WorkerProcess::State::receive(std::int64_t nowMs) {
  char bytes[16384];
  for (int reads = 0; reads < kMostReads; ++reads) {
    const ssize_t count = recv(socket, bytes, sizeof bytes, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
      return true;
    }
    if (count <= 0) {
      return false;
    }
    heardMs = nowMs;
    incoming.append({bytes, static_cast<std::size_t>(count)});
  }
  return true;
}

// A process that has been sent SIGKILL runs none of its code any more, even where the closing of its line takes long.
void WorkerProcess::State::end(const std::string& reason, std::int64_t nowMs) {
  ::kill(pid, SIGKILL);
  close(std::exchange(socket, -1));
  incoming = {};
  outgoing.clear();
  callMs.reset();
  doing.clear();
  isKilled = false;
  delayStart(nowMs);
  reapMs = nowMs;
  tellDeath(reason);
  isLineLost = false;
}

// What the modem said of the text before its worker died still counts: the traffic came over as it happened.
void WorkerProcess::State::tellDeath(const std::string& reason) {
  // It was told to stop and had nothing to do: an end as wished.
  if (!isWanted && !running) {
    return;
  }
  // The state first, so that nobody gives the modem the message that is handed back by the next call.
  listener->onState(config.name, isLineLost ? ModemState::kNotAvailable : ModemState::kNoData, reason);
  const std::optional<AttemptRecord> last = std::exchange(running, std::nullopt);
  if (!last) {
    return listener->onDied(config.name, std::nullopt, "", reason);
  }
  if (const std::optional<AttemptResult> result = last->provenResult()) {
    listener->onAttemptEnded(config.name, last->order().id, last->order().number, *result);
    return listener->onDied(config.name, std::nullopt, "", reason);
  }
  listener->onDied(config.name, last->order(), last->recording(), reason);
}

// A process may stay for half a minute after its end, until its line has drained.
void WorkerProcess::State::reap(std::int64_t nowMs) {
  int status = 0;
  const pid_t reaped = waitpid(pid, &status, WNOHANG);
  reapMs = nowMs + kReapEveryMs;
  if (reaped == 0) {
    return;
  }
  if (reaped == pid && status != 0) {
    LOG(WARNING) << "modem " << config.name << ": worker " << pid << " ended with " << exitText(status);
  }
  pid = -1;
}

std::string WorkerProcess::State::stuckReason(std::int64_t nowMs) const {
  if (callMs && nowMs >= *callMs + kLongestCallMs) {
    return "the worker was killed: a call into the plug-in did not return";
  }
  return nowMs >= heardMs + kLongestSilenceMs ? "the worker was killed: it was silent" : "";
}

WorkerProcess::WorkerProcess(const ModemConfig& modem, const std::string& plugin, int lateSeconds,
                             WorkerListener* listener, const std::string& program)
    : state(std::make_unique<State>()) {
  state->config = modem;
  state->plugin = plugin;
  state->lateSeconds = lateSeconds;
  state->listener = listener;
  state->program = program;
}

WorkerProcess::~WorkerProcess() {
  if (state->pid != -1) {
    ::kill(state->pid, SIGKILL);
    // Not waited for: it may hang in the close of its line. Its end is the kernel's then.
    waitpid(state->pid, nullptr, WNOHANG);
  }
  if (state->socket != -1) {
    close(state->socket);
  }
}

void WorkerProcess::escapeFirst() {
  state->mayWaitAtPrompt = true;
}

void WorkerProcess::start(std::int64_t nowMs) {
  state->isWanted = true;
  if (!isRunning()) {
    state->startProcess(nowMs);
  }
}

int WorkerProcess::descriptor() const {
  return state->socket;
}

bool WorkerProcess::wantsToWrite() const {
  return state->socket != -1 && !state->outgoing.empty();
}

void WorkerProcess::onReady(std::int64_t nowMs) {
  if (state->socket == -1) {
    return;
  }
  state->flush();
  const bool isOpen = state->receive(nowMs);
  // Before the end is looked at: the last words of a worker that ended count.
  state->handleFrames(nowMs);
  if (!isOpen && state->socket != -1) {
    state->end("the worker process ended", nowMs);
  }
}

void WorkerProcess::onTime(std::int64_t nowMs) {
  onReady(nowMs);  // what it said in time counts, however late this is called
  if (state->socket != -1) {
    const std::string reason = state->isKilled ? "the worker was killed" : state->stuckReason(nowMs);
    if (!reason.empty()) {
      state->end(reason, nowMs);
    }
  }
  if (state->socket == -1 && state->running) {
    state->tellDeath("the worker process ended");  // an order for one that was gone
  }
  // From time to time, since SIGCHLD is the program's, not ours.
  if (state->socket == -1 && state->pid != -1 && nowMs >= state->reapMs) {
    state->reap(nowMs);
  }
  if (state->isWanted && !isRunning() && nowMs >= state->startMs) {
    state->startProcess(nowMs);
  }
}

std::optional<std::int64_t> WorkerProcess::nextTimeMs() const {
  if (state->socket != -1) {
    const std::int64_t silenceMs = state->heardMs + kLongestSilenceMs;
    return state->isKilled ? 0 : std::min(silenceMs, state->callMs ? *state->callMs + kLongestCallMs : silenceMs);
  }
  if (state->pid != -1) {
    return state->reapMs;
  }
  return state->isWanted ? std::optional(state->startMs) : std::nullopt;
}

// From the order on, until its end is known, the modem may be left at its prompt.
void WorkerProcess::attempt(const AttemptOrder& order, std::int64_t /*nowMs*/) {
  state->running.emplace(order, &state->config);
  state->mayWaitAtPrompt = true;
  state->send(order);
}

void WorkerProcess::goAhead() {
  if (state->running && state->running->allow()) {
    state->send(GoAhead{});
  }
}

void WorkerProcess::stop(int listenSeconds, std::int64_t /*nowMs*/) {
  state->isWanted = false;
  if (state->socket != -1) {
    state->send(StopOrder{listenSeconds});
  }
}

void WorkerProcess::kill() {
  if (state->socket != -1) {
    ::kill(state->pid, SIGKILL);
    state->isKilled = true;
  }
}

bool WorkerProcess::isRunning() const {
  return state->socket != -1 || state->pid != -1;
}

}  // namespace orvix::gateway
