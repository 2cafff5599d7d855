// The side of the doors: who may do what, and what is taken.

#include <unistd.h>

#include <algorithm>
#include <set>

#include "common/duration.h"
#include "common/printable.h"
#include "gateway/service/serviceState.h"
#include "gateway/service/textFit.h"

namespace orvix::gateway {
namespace {

Refusal refuse(int status, const std::string& error, std::optional<std::string> field = std::nullopt) {
  Refusal refusal{status, error, std::move(field), std::nullopt};
  if (status == 429 || status == 503) {
    refusal.retryAfterSeconds = kRetryAfterSeconds;
  }
  return refusal;
}

bool isAllowed(const std::string& number, const std::vector<std::string>& patterns) {
  return std::any_of(patterns.begin(), patterns.end(), [&number](const std::string& pattern) {
    if (!pattern.empty() && pattern.back() == '*') {
      // "+49*": only the beginning is compared; "*" alone lets every number pass.
      return number.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0;
    }
    return number == pattern;
  });
}

// What a submission asks for, as it was given: the same request again has the same, whatever the defaults are by then.
std::string fingerprintOf(const Submission& submission) {
  return nlohmann::json({submission.to, submission.isList, submission.text,
                         submission.priority ? wordOf(*submission.priority) : "", submission.expiresSeconds.value_or(0),
                         wordOf(submission.onUncertain), submission.modem.value_or("")})
      .dump();
}

Priority priorityFor(const Submission& submission, const Caller& caller) {
  // Less urgent is the larger number.
  return submission.priority.value_or(std::max(Priority::kNormal, caller.rights.highest));
}

std::string freshId() {
  // 96 random bits: no two requests will ever meet.
  unsigned char bytes[12];
  if (getentropy(bytes, sizeof bytes) != 0) {
    throw std::runtime_error("no random bytes to be had");
  }
  return hexText({reinterpret_cast<const char*>(bytes), sizeof bytes});
}

// The numbers and the modem; what is wrong with them.
std::optional<Refusal> checkAddress(const Submission& submission, const Config& config) {
  std::set<std::string> seen;
  for (const std::string& number : submission.to) {
    if (const std::string trouble = hostkit::numberFit(number).problem; !trouble.empty()) {
      return refuse(422, trouble, "to");
    }
    // It would get the text twice, which nobody means.
    if (!seen.insert(number).second) {
      return refuse(422, "a number comes twice", "to");
    }
  }
  const auto isWanted = [&](const ModemConfig& modem) { return modem.name == *submission.modem; };
  if (submission.modem && std::none_of(config.modems.begin(), config.modems.end(), isWanted)) {
    return refuse(422, "there is no modem of that name", "modem");
  }
  return std::nullopt;
}

// Of the modems that may take it: a text is fit when one of them carries it.
std::vector<hostkit::Charset> charsetsOf(const Submission& submission, const Config& config) {
  std::vector<hostkit::Charset> charsets;
  for (const ModemConfig& modem : config.modems) {
    if (!submission.modem || modem.name == *submission.modem) {
      charsets.push_back(modem.charset);
    }
  }
  return charsets;
}

std::optional<Refusal> checkRights(const Submission& submission, const Caller& caller) {
  for (const std::string& number : submission.to) {
    if (!isAllowed(number, caller.rights.to)) {
      return refuse(403, "you may not send to this number", "to");
    }
  }
  if (submission.priority && *submission.priority < caller.rights.highest) {
    return refuse(403, "you may not send with this priority", "priority");
  }
  return std::nullopt;
}

NewRequest requestOf(const Submission& submission, const std::vector<std::string>& texts, const Caller& caller,
                     std::int64_t nowMs, int defaultExpirySeconds) {
  const Priority priority = priorityFor(submission, caller);
  const int expiresSeconds = submission.expiresSeconds.value_or(defaultExpirySeconds);
  NewRequest request;
  request.id = submission.id ? *submission.id : freshId();
  request.owner = caller.owner;
  request.fingerprint = fingerprintOf(submission);
  request.isBatch = submission.isList || texts.size() > 1;
  // Number by number, each with every part, so that the parts of a text stay together.
  for (const std::string& number : submission.to) {
    for (const std::string& text : texts) {
      const std::string part = "~" + std::to_string(request.messages.size() + 1);
      request.messages.push_back({request.id + (request.isBatch ? part : ""), caller.owner, number, text, priority,
                                  submission.onUncertain, submission.modem, nowMs + expiresSeconds * kSecondMs});
    }
  }
  return request;
}

}  // namespace

std::variant<Accepted, Refusal> Service::submit(const Caller& caller, const Submission& submission) {
  const Config& config = state->config;
  // 422 before 403: what is wrong in itself is told to everybody.
  if (const auto refusal = checkAddress(submission, config)) {
    return *refusal;
  }
  const auto texts = textsFor(submission.text, charsetsOf(submission, config), config.sending);
  if (const auto* const refusal = std::get_if<Refusal>(&texts)) {
    return *refusal;
  }
  if (const auto refusal = checkRights(submission, caller)) {
    return *refusal;
  }
  const NewRequest request =
      requestOf(submission, std::get<std::vector<std::string>>(texts), caller, nowMs(), config.sending.expireSeconds);
  // What stays when the work below fails.
  std::variant<Accepted, Refusal> result = refuse(503, "the outbox takes nothing at the moment");
  state->onStore([&] { result = state->take(request, caller); });
  return result;
}

// A repeat is answered before anything that may be full is asked.
std::variant<Accepted, Refusal> Service::State::take(const NewRequest& request, const Caller& caller) {
  if (const std::optional<KnownRequest> known = outbox->findRequest(request.id)) {
    if (known->owner != request.owner || known->fingerprint != request.fingerprint) {
      return refuse(409, "this id is taken by another message", "id");
    }
    return Accepted{false, known->isBatch, known->messages};
  }
  const auto count = static_cast<int>(request.messages.size());
  const std::int64_t nowMs = clock->nowMs();
  if (const int perDay = caller.rights.perDay; perDay != 0) {
    if (const auto freeMs = outbox->ownerFreeMs(caller.owner, perDay, count, nowMs)) {
      Refusal refusal = refuse(429, "you have sent your number of messages for 24 hours");
      refusal.retryAfterSeconds = static_cast<int>((*freeMs - nowMs + kSecondMs - 1) / kSecondMs);
      return refusal;
    }
  }
  const std::int64_t limit = config.storage.queueLimit;
  // The last tenth is for alarms, so that a flood of others cannot keep them out.
  const std::int64_t kept = request.messages.front().priority == Priority::kAlarm ? 0 : limit / 10;
  if (limit != 0 && outbox->counts().of(MessageState::kQueued) + count > limit - kept) {
    return refuse(503, "the queue is full");
  }
  Accepted accepted{true, request.isBatch, outbox->accept(request, nowMs)};
  for (const Message& message : accepted.messages) {
    changed(message);
  }
  return accepted;
}

std::variant<Message, Refusal> Service::State::visible(const Caller& caller, const std::string& id) {
  std::variant<Message, Refusal> result = refuse(503, "the outbox does not answer");
  onStore([&] {
    const std::optional<Message> message = outbox->find(id);
    // Another owner's message is not there at all: a 403 would tell that the id is taken.
    const bool isShown = message && (caller.rights.all || message->owner == caller.owner);
    result = isShown ? decltype(result)(*message) : refuse(404, "there is no message of this id");
  });
  return result;
}

// A move that a person asks for, of a message that the caller may touch; without the move, a 409.
std::variant<Message, Refusal> Service::State::move(const Caller& caller, const std::string& id,
                                                    const std::string& otherwise,
                                                    const std::function<std::optional<Message>()>& attempt) {
  std::variant<Message, Refusal> result = visible(caller, id);
  if (std::holds_alternative<Refusal>(result)) {
    return result;
  }
  result = refuse(503, "the outbox takes nothing at the moment");
  onStore([&] {
    const std::optional<Message> moved = attempt();
    result = moved ? decltype(result)(*moved) : refuse(409, otherwise);
    if (moved) {
      changed(*moved);
    }
  });
  return result;
}

std::variant<Message, Refusal> Service::show(const Caller& caller, const std::string& id) {
  return state->visible(caller, id);
}

std::variant<std::vector<Message>, Refusal> Service::list(const Caller& caller, MessageFilter filter) {
  if (!caller.rights.all) {
    // In the query, so that a page holds as many as were asked for.
    filter.owner = caller.owner;
  }
  std::variant<std::vector<Message>, Refusal> result = refuse(503, "the outbox does not answer");
  state->onStore([&] { result = state->outbox->list(filter, nowMs()); });
  return result;
}

std::variant<Message, Refusal> Service::cancel(const Caller& caller, const std::string& id) {
  return state->move(caller, id, "only a queued message can be cancelled",
                     [&] { return state->outbox->cancel(id, nowMs()); });
}

std::variant<Message, Refusal> Service::resolve(const Caller& caller, const std::string& id,
                                                Outbox::Resolution resolution) {
  return state->move(caller, id, "only an uncertain message can be resolved",
                     [&] { return state->outbox->resolve(id, resolution, nowMs()); });
}

std::variant<std::string, Refusal> Service::recording(const Caller& caller, const std::string& id, int number) {
  // The right to see a recording is that of its message.
  const auto message = state->visible(caller, id);
  if (const auto* const refusal = std::get_if<Refusal>(&message)) {
    return *refusal;
  }
  std::variant<std::string, Refusal> result = refuse(503, "the outbox does not answer");
  state->onStore([&] {
    const std::optional<std::string> found = state->outbox->recording(id, number);
    result = found ? decltype(result)(*found) : refuse(404, "there is no recording of this attempt");
  });
  return result;
}

std::vector<ModemView> Service::modems() const {
  std::vector<ModemView> views;
  for (const Modem& modem : state->modems) {
    views.push_back(modem.view);
  }
  return views;
}

std::variant<std::vector<HistoryPoint>, Refusal> Service::history(const std::string& modem,
                                                                  std::optional<std::int64_t> fromMs,
                                                                  std::optional<std::int64_t> toMs, int points) {
  if (state->find(modem) == nullptr) {
    return refuse(404, "there is no modem of this name");
  }
  const std::int64_t endMs = toMs.value_or(nowMs());
  const std::int64_t beginMs = fromMs.value_or(endMs - kDayMs);
  // Here, where both are known: either may have been left out.
  if (beginMs >= endMs) {
    return refuse(422, "must be before the end", "from");
  }
  if (points < 1 || points > kMaxHistoryPoints) {
    return refuse(422, "must be a whole number from 1 to 10000", "points");
  }
  std::variant<std::vector<HistoryPoint>, Refusal> result = refuse(503, "the outbox does not answer");
  state->onStore([&] { result = state->outbox->history(modem, beginMs, endMs, points); });
  return result;
}

Health Service::health() const {
  Health health;
  if (!state->storeTrouble.empty()) {
    health.reasons.push_back("outbox: " + state->storeTrouble);
  }
  for (const Modem& modem : state->modems) {
    // A modem that is unplugged has a worker that waits for it; one that cannot be kept alive is a fault.
    if (!modem.worker->isRunning() && !state->isStopping) {
      health.reasons.push_back("modem " + modem.config.name + ": its worker does not run");
    }
  }
  health.isOk = health.reasons.empty();
  return health;
}

Counts Service::counts() {
  Counts counts;
  state->onStore([&] { counts = state->outbox->counts(); });
  return counts;
}

std::optional<Message> Service::lastResult() {
  std::optional<Message> message;
  state->onStore([&] { message = state->outbox->lastResult(); });
  return message;
}

std::vector<Outbox::Announcement> Service::announcements(std::int64_t afterNumber, int limit) {
  std::vector<Outbox::Announcement> notes;
  state->onStore([&] { notes = state->outbox->announcements(afterNumber, limit); });
  return notes;
}

void Service::announce(const std::vector<Message>& messages) {
  state->onStore([&] {
    for (const Message& message : messages) {
      state->outbox->announce(message.id);
    }
  });
}

void Service::dropAnnouncements(const std::vector<std::int64_t>& numbers) {
  state->toldNotes.insert(state->toldNotes.end(), numbers.begin(), numbers.end());
}

}  // namespace orvix::gateway
