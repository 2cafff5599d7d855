// How a round of events becomes durable, and what time alone brings about.

#include <glog/logging.h>

#include <algorithm>
#include <utility>

#include "common/printable.h"
#include "gateway/service/serviceState.h"

namespace orvix::gateway {
namespace {

// A database that refuses is asked again after this; a message that comes in meanwhile asks at once.
constexpr std::int64_t kStoreRetryMs = 1000;
constexpr std::int64_t kPurgeMs = 60000;

}  // namespace

bool Service::State::onStore(const std::function<void()>& work) {
  try {
    work();
    return true;
  } catch (const StoreError& error) {
    voidRound(error.what());
    return false;
  }
}

// Whoever was promised something in this round is told that nothing came of it.
void Service::State::voidRound(const std::string& reason) {
  if (storeTrouble.empty()) {
    LOG(ERROR) << "outbox: " << reason;
  }
  storeTrouble = reason;
  storeRetryMs = clock->nowMs() + kStoreRetryMs;
  // First on the disk's side: done() and whatever it calls must find the state of the last commit.
  outbox->rollback();
  news.clear();
  for (const auto& done : std::exchange(waiting, {})) {
    done(false);
  }
}

bool Service::State::commitRound(bool isTrial) {
  const bool isAwaited = !waiting.empty() || !news.empty();
  outbox->setTime(clock->nowMs(), clock->offsetMs());
  // After a failure something is written even when nothing waits, or nobody would learn that the disk is well again.
  bool isWritten = false;
  if (!onStore([&] { isWritten = outbox->commit(isTrial); })) {
    return false;
  }
  if (isWritten && !storeTrouble.empty()) {
    LOG(INFO) << "outbox: takes messages again";
    storeTrouble.clear();
  }
  // What is called here may start the next round already.
  for (const auto& done : std::exchange(waiting, {})) {
    done(true);
  }
  // After the answers: who hears of a message may have handed it in himself.
  for (const auto& tell : std::exchange(news, {})) {
    tell();
  }
  return isAwaited;
}

void Service::State::letTimePass() {
  const std::int64_t nowMs = clock->nowMs();
  for (Modem& modem : modems) {
    // Also those of a round that could not be committed.
    if (modem.running && modem.running->end && !modem.running->isWritten) {
      finish(&modem);
    }
  }
  onStore([&] {
    dropToldNotes();
    for (const Message& message : outbox->expire(nowMs)) {
      changed(message);
    }
    // Once a minute, a bounded number at a time.
    if (nowMs >= nextPurgeMs) {
      outbox->purge(nowMs);
      nextPurgeMs = nowMs + kPurgeMs;
    }
  });
}

// A note that stayed would be told by the next start, long after what followed it.
void Service::State::dropToldNotes() {
  if (toldNotes.empty()) {
    return;
  }
  for (const std::int64_t number : toldNotes) {
    outbox->dropAnnouncement(number);
  }
  waiting.emplace_back([this, notes = std::exchange(toldNotes, {})](bool isCommitted) {
    if (!isCommitted) {
      toldNotes.insert(toldNotes.end(), notes.begin(), notes.end());
    }
  });
}

void Service::State::changed(const Message& message) {
  news.push_back([this, message] {
    LOG(INFO) << "message " << message.id << ": " << wordOf(message.state)
              << (message.reason.empty() ? "" : ", " + escaped(message.reason));
    ++metrics.messages[wordOf(message.state)];
    for (ServiceListener* const listener : listeners) {
      listener->onMessage(message);
    }
  });
}

void Service::State::changed(const Modem& modem) {
  news.push_back([this, view = modem.view] {
    for (ServiceListener* const listener : listeners) {
      listener->onModem(view);
    }
  });
}

void Service::settle() {
  state->clock->update();
  // While the database refuses, what the doors have only looked at, or repeated, must not fail with what is tried here.
  if (!state->storeTrouble.empty()) {
    state->commitRound(false);
  }
  bool isTrial = false;
  // A commit may set a modem free or bring a message that it can take at once.
  do {
    const bool mayWork = state->clock->nowMs() >= state->storeRetryMs;
    isTrial = mayWork && !state->storeTrouble.empty();
    if (mayWork) {
      state->letTimePass();
      beat();
      state->dispatch();
    }
  } while (state->commitRound(isTrial));
}

std::optional<std::int64_t> Service::nextTimeMs() {
  const std::int64_t nowMs = state->clock->nowMs();
  // While the database refuses, its time is not asked: it would be due all the time.
  std::int64_t next = state->storeTrouble.empty() ? state->nextPurgeMs : state->storeRetryMs;
  if (nowMs >= state->storeRetryMs) {
    state->onStore([&] { next = std::min(next, state->outbox->nextChangeMs(nowMs).value_or(next)); });
  }
  if (state->config.heartbeat) {
    next = std::min(next, state->nextHeartbeatMs);
  }
  for (const Modem& modem : state->modems) {
    next = std::min(next, modem.worker->nextTimeMs().value_or(next));
  }
  return next;
}

}  // namespace orvix::gateway
