// The side of the modems: who takes which message, and what comes back.

#include <glog/logging.h>

#include <utility>

#include "common/duration.h"
#include "common/printable.h"
#include "gateway/service/serviceState.h"

namespace orvix::gateway {
namespace {

void count(SendSeconds* histogram, double seconds) {
  std::size_t bucket = 0;
  // The value of a bound itself counts in its bucket (Prometheus' "le"); past all of them comes the last one.
  while (bucket < kSendSecondsBounds.size() && seconds > kSendSecondsBounds[bucket]) {
    ++bucket;
  }
  ++histogram->buckets[bucket];
  histogram->sum += seconds;
  ++histogram->count;
}

}  // namespace

Modem* Service::State::find(const std::string& name) {
  for (Modem& modem : modems) {
    if (modem.config.name == name) {
      return &modem;
    }
  }
  return nullptr;
}

void Service::State::dispatch() {
  for (Modem& modem : modems) {
    // One message a modem: it is free again only when the end of its attempt is on the disk.
    if (isStopping || !modem.isFree()) {
      continue;
    }
    onStore([&] {
      const FreeModem taker{modem.config.name, modem.config.charset, modem.config.perDay};
      if (const std::optional<Message> message = outbox->next(taker, clock->nowMs())) {
        begin(&modem, *message);
      }
    });
  }
}

// The modem gets the message only after the commit, so that a crash in between leaves an attempt without a byte sent
// and never a byte without an attempt.
void Service::State::begin(Modem* modem, const Message& message) {
  const int number = outbox->beginAttempt(message.id, modem->config.name, clock->nowMs());
  // As it is now, for whoever is told.
  const Message begun = *outbox->find(message.id);
  modem->running = Running{{message.id, number, message.to, message.text}, false, std::nullopt, false};
  modem->view.sending = message.id;
  changed(begun);
  changed(*modem);
  waiting.emplace_back([this, modem](bool isCommitted) {
    if (isCommitted) {
      modem->worker->attempt(modem->running->order, clock->nowMs());
    } else {
      // Nothing of it happened, so the message is still queued and may go to any modem.
      modem->running.reset();
      modem->view.sending.reset();
    }
  });
}

// Writes down how an attempt ended. When that cannot be committed, it is tried again: the end stays with the modem,
// which takes nothing else before.
void Service::State::finish(Modem* modem) {
  const Running running = *modem->running;
  modem->running->isWritten = onStore([&] {
    const Message message = outbox->endAttempt(running.order.id, *running.end, clock->nowMs());
    changed(message);
    // Counted only once it is committed: a counter never goes back.
    news.push_back([this, name = modem->config.name, message, verdict = running.end->verdict] {
      ++metrics.attempts[name][wordOf(verdict)];
      if (message.state == MessageState::kSent) {
        const auto ms = static_cast<double>(message.endedMs.value_or(message.acceptedMs) - message.acceptedMs);
        count(&metrics.sendSeconds[name], ms / kSecondMs);
      }
    });
  });
  if (!modem->running->isWritten) {
    return;
  }
  waiting.emplace_back([this, modem](bool isCommitted) {
    if (isCommitted) {
      modem->running.reset();
      modem->view.sending.reset();
      changed(*modem);
    } else {
      modem->running->isWritten = false;
    }
  });
}

void Service::State::onState(const std::string& name, ModemState modemState, const std::string& reason) {
  Modem* const modem = find(name);
  if (modem->view.state != modemState || modem->view.reason != reason) {
    LOG(INFO) << "modem " << name << ": " << wordOf(modemState) << (reason.empty() ? "" : ", " + escaped(reason));
    modem->view.state = modemState;
    modem->view.reason = reason;
    changed(*modem);
  }
}

void Service::State::onReport(const std::string& name, const ModemReport& report) {
  Modem* const modem = find(name);
  modem->view.report = report;
  modem->view.reportMs = clock->nowMs();
  // It answers again, so what it refused a message for may be over.
  modem->awaitsReport = false;
  modem->awaitsRegistration = modem->awaitsRegistration && !report.isRegistered();
  onStore([&] { outbox->addReport(name, report.dBm, report.isRegistered(), clock->nowMs()); });
  news.push_back([this, view = modem->view] {
    for (ServiceListener* const listener : listeners) {
      listener->onReport(view);
    }
  });
}

void Service::State::onDoing(const std::string& name, const std::string& doing) {
  Modem* const modem = find(name);
  modem->view.doing = doing;
  changed(*modem);
}

void Service::State::onPrompt(const std::string& name, const std::string& id, int number) {
  Modem* const modem = find(name);
  if (!modem->running || modem->running->order.id != id || modem->running->order.number != number) {
    return;  // Without an answer the worker ends.
  }
  // No leave without the mark: the worker ends, and its message was not sent.
  if (!onStore([&] { outbox->markMayBeOut(id); })) {
    return;
  }
  waiting.emplace_back([modem](bool isCommitted) {
    if (isCommitted) {
      modem->running->isMarked = true;
      modem->worker->goAhead();
    }
  });
}

void Service::State::onAttemptEnded(const std::string& name, const std::string& id, int number,
                                    const AttemptResult& result) {
  Modem* const modem = find(name);
  // An end that is told twice, or of an attempt that is not ours any more, changes nothing.
  if (!modem->running || modem->running->order.id != id || modem->running->order.number != number ||
      modem->running->end) {
    return;
  }
  modem->running->end = AttemptEnd{result.verdict,     result.reference, result.code,     result.errorClass,
                                   result.hasAnswered, result.reason,    result.recording};
  // What the class of the error says of the modem; what it says of the message is the outbox's.
  if (result.verdict == hostkit::Verdict::kRefused) {
    modem->awaitsRegistration = result.errorClass == hostkit::ErrorClass::kNetwork;
    modem->awaitsReport = result.errorClass == hostkit::ErrorClass::kModem;
  }
}

void Service::State::onHealed(const std::string& name) {
  LOG(INFO) << "modem " << name << ": answers again after an Escape";
  ++metrics.heals[name];
}

void Service::State::onReconnected(const std::string& name) {
  ++metrics.reconnects[name];
}

void Service::State::onDied(const std::string& name, const std::optional<AttemptOrder>& /*order*/,
                            const std::string& recording, const std::string& reason) {
  Modem* const modem = find(name);
  LOG(WARNING) << "modem " << name << ": its worker ended: " << escaped(reason);
  // The mark decides what can be said: before it no byte of the text was written.
  if (modem->running && !modem->running->end) {
    AttemptEnd end;
    end.verdict = modem->running->isMarked ? hostkit::Verdict::kUncertain : hostkit::Verdict::kNotSent;
    end.reason = modem->running->isMarked ? "the worker ended after the text may have been sent: " + reason
                                          : "the worker ended before the text was sent: " + reason;
    end.recording = recording;
    // By the recording's own words: the traffic itself went with the record of the attempt.
    end.hasAnswered = recording.find(R"("kind":"received")") != std::string::npos;
    modem->running->end = end;
    modem->worker->escapeFirst();
  }
}

void Service::startWorkers() {
  for (Modem& modem : state->modems) {
    modem.worker->start(nowMs());
  }
}

std::vector<WorkerProcess*> Service::workers() {
  std::vector<WorkerProcess*> found;
  for (Modem& modem : state->modems) {
    found.push_back(modem.worker.get());
  }
  return found;
}

void Service::stop(int listenSeconds) {
  state->isStopping = true;
  for (Modem& modem : state->modems) {
    modem.worker->stop(listenSeconds, nowMs());
  }
}

bool Service::isStopped() const {
  for (const Modem& modem : state->modems) {
    if (modem.worker->isRunning()) {
      return false;
    }
  }
  return true;
}

}  // namespace orvix::gateway
