#include "gateway/outbox/outbox.h"

#include <algorithm>
#include <stdexcept>

#include "gateway/outbox/store.h"

namespace orvix::gateway {

Outbox::Store::Store(const StorageConfig& storageConfig, const SendingConfig& sendingConfig)
    : storage(storageConfig),
      sending(sendingConfig),
      folder(storage.folder),
      database(folder.openDatabase()),
      queue(database.get(), sending.perRecipient),
      reports(database.get()) {
  // Time goes on from the last commit, whatever the clocks show by now.
  {
    Rows rows = database->rows("SELECT time, offset FROM clock");
    rows.next();
    nowMs = storedTimeMs = rows.number(0);
    offsetMs = storedOffsetMs = rows.number(1);
  }
  // Derived from the messages at each start: nothing on the disk can contradict them.
  database->script(
      "CREATE TEMP TABLE tally(state INTEGER PRIMARY KEY, count INTEGER);"
      "INSERT INTO tally SELECT state, count(*) FROM message GROUP BY state;"
      "CREATE TEMP TABLE lately(owner TEXT PRIMARY KEY, since INTEGER, count INTEGER)");
  queue.makeTables();
  queue.rebuild(nowMs);
}

std::int64_t Outbox::Store::at(std::int64_t timeMs) {
  // A caller may have taken its time before another one was served.
  nowMs = std::max(nowMs, timeMs);
  return nowMs;
}

std::optional<Record> Outbox::Store::record(const std::string& id) {
  Rows rows = database->rows("SELECT * FROM message WHERE id = ?", id);
  return rows.next() ? std::optional(recordOf(rows)) : std::nullopt;
}

Record Outbox::Store::recordAt(std::int64_t sequence) {
  Rows rows = database->rows("SELECT * FROM message WHERE sequence = ?", sequence);
  if (!rows.next()) {
    throw std::logic_error("there is no such message");
  }
  return recordOf(rows);
}

Message Outbox::Store::shown(Record record) {
  queue.explain(&record, nowMs);
  record.message.attempts = attemptsOf(database.get(), record.message.sequence);
  return std::move(record.message);
}

void Outbox::Store::count(MessageState state, int difference) {
  database->run("INSERT INTO tally VALUES(?1, ?2) ON CONFLICT DO UPDATE SET count = count + ?2", state, difference);
}

Record Outbox::Store::insert(const NewMessage& message, const NewRequest& request) {
  const auto batch = request.isBatch ? std::optional(request.id) : std::nullopt;
  database->change(
      "INSERT INTO message(id, batch, owner, fingerprint, recipient, text, priority, on_uncertain, wanted, charsets,"
      " accepted, expires, lifetime, state, doubt, attempts, retries, modem, reason)"
      " VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?11, ?12, ?12 - ?11, 0, 0, 0, 0, '', '')",
      message.id, batch, message.owner, request.isBatch ? "" : request.fingerprint, message.to, message.text,
      message.priority, message.onUncertain, message.wantedModem.value_or(""), charsetsOf(message.text), nowMs,
      message.expiresMs);
  Record record = recordAt(database->lastSequence());
  // After the row, as move() does it: what is derived follows what is stored.
  count(MessageState::kQueued, 1);
  database->run("UPDATE lately SET count = count + 1 WHERE owner = ?", message.owner);
  queue.enter(record, nowMs);
  addNote(record);
  return record;
}

void Outbox::Store::move(Record* record, Cause cause) {
  Message& message = record->message;
  // The doubt is asked as it is after the attempt: see finishAttempt.
  const std::optional<MessageState> to = stateAfter(message.state, cause, record->isInDoubt);
  if (!to) {
    throw std::logic_error("message " + message.id + " is " + wordOf(message.state) + ": no such move");
  }
  const MessageState from = message.state;
  message.state = *to;
  message.endedMs = isEnded(*to) ? std::optional(nowMs) : std::nullopt;
  database->change(
      "UPDATE message SET state = ?, doubt = ?, attempts = ?, retries = ?, due = ?, ended = ?, modem = ?,"
      " reference = ?, code = ?, reason = ? WHERE sequence = ?",
      message.state, record->isInDoubt, record->attempts, record->retries, message.dueMs, message.endedMs,
      message.modem.value_or(""), message.reference, message.code, message.reason, message.sequence);
  // Counts, queue and notes follow in the same transaction, so that a crash leaves them in step.
  count(from, -1);
  count(*to, 1);
  if (from == MessageState::kQueued) {
    queue.leave(*record, nowMs);
  }
  if (*to == MessageState::kQueued) {
    queue.enter(*record, nowMs);
  }
  addNote(*record);
}

Outbox::Outbox(const StorageConfig& storage, const SendingConfig& sending)
    : store(std::make_unique<Store>(storage, sending)) {
}

Outbox::~Outbox() = default;

bool Outbox::commit(bool isTrial) {
  Database& database = *store->database;
  // First, so that they are a part of this commit.
  if (store->reports.areDue()) {
    store->reports.write();
  }
  if (!database.hasChanges() && !isTrial) {
    return false;
  }
  database.change("UPDATE clock SET time = ?, offset = ?", store->nowMs, store->offsetMs);
  database.commit();
  // Only now: until the commit the disk holds the older time.
  store->storedTimeMs = store->nowMs;
  store->storedOffsetMs = store->offsetMs;
  return true;
}

void Outbox::rollback() {
  store->database->rollback();
}

std::int64_t Outbox::storedTimeMs() const {
  return store->storedTimeMs;
}

std::int64_t Outbox::storedOffsetMs() const {
  return store->storedOffsetMs;
}

void Outbox::setTime(std::int64_t nowMs, std::int64_t offsetMs) {
  store->at(nowMs);
  store->offsetMs = offsetMs;
}

std::vector<Message> Outbox::accept(const NewRequest& request, std::int64_t nowMs) {
  store->at(nowMs);
  if (request.isBatch) {
    store->database->change("INSERT INTO batch VALUES(?, ?, ?)", request.id, request.owner, request.fingerprint);
  }
  std::vector<Message> messages;
  for (const NewMessage& message : request.messages) {
    messages.push_back(store->shown(store->insert(message, request)));
  }
  return messages;
}

std::optional<Message> Outbox::next(const FreeModem& modem, std::int64_t nowMs) {
  const std::optional<std::int64_t> sequence = store->queue.pick(modem, store->at(nowMs));
  return sequence ? std::optional(store->shown(store->recordAt(*sequence))) : std::nullopt;
}

std::optional<std::int64_t> Outbox::nextChangeMs(std::int64_t nowMs) {
  std::optional<std::int64_t> next = store->queue.nextChangeMs(store->at(nowMs));
  // Without a hint SQLite would walk through all that is queued.
  Rows rows = store->database->rows("SELECT min(expires) FROM message INDEXED BY message_expires WHERE state = 0");
  if (rows.next() && !rows.isNull(0)) {
    next = std::min(next.value_or(kForEver), rows.number(0));
  }
  return next;
}

std::optional<Message> Outbox::cancel(const std::string& id, std::int64_t nowMs) {
  store->at(nowMs);
  std::optional<Record> record = store->record(id);
  if (!record || record->message.state != MessageState::kQueued) {
    return std::nullopt;
  }
  // Only what waits has a due time.
  record->message.dueMs.reset();
  record->message.reason = record->isInDoubt ? "cancelled after an attempt that may have gone out" : "cancelled";
  store->move(&*record, Cause::kTakenBack);
  return store->shown(*record);
}

std::optional<Message> Outbox::resolve(const std::string& id, Resolution resolution, std::int64_t nowMs) {
  store->at(nowMs);
  std::optional<Record> record = store->record(id);
  if (!record || record->message.state != MessageState::kUncertain) {
    return std::nullopt;
  }
  // The reason says that a person decided, since no traffic will.
  switch (resolution) {
    case Resolution::kSent:
      record->message.reason = "a person knows that it was sent";
      store->move(&*record, Cause::kSaidSent);
      break;
    case Resolution::kDrop:
      record->message.reason = "a person gave it up";
      store->move(&*record, Cause::kSaidDrop);
      break;
    case Resolution::kResend:
      store->renew(&*record);
      store->move(&*record, Cause::kSaidResend);
      break;
  }
  return store->shown(*record);
}

}  // namespace orvix::gateway
