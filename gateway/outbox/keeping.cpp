// What time does to messages: they expire, and those that ended are not kept for ever.

#include "common/duration.h"
#include "gateway/outbox/store.h"

namespace orvix::gateway {
namespace {

constexpr int kMostAtOnce = 200;  // nobody else gets a turn meanwhile

std::string expiryReason(const Record& record) {
  if (record.isInDoubt) {
    return "expired after an attempt that may have gone out";
  }
  const std::string& before = record.message.reason;
  return before.empty() ? "expired before a modem could take it" : "expired; before: " + before;
}

}  // namespace

std::vector<Message> Outbox::expire(std::int64_t nowMs) {
  store->at(nowMs);
  // Read to the end first: each move changes the table that is read.
  std::vector<Record> records;
  {
    // Without a hint SQLite would walk through all that is queued.
    Rows rows = store->database->rows(
        "SELECT * FROM message INDEXED BY message_expires WHERE state = 0 AND expires <= ? ORDER BY expires LIMIT ?",
        store->nowMs, kMostAtOnce);
    while (rows.next()) {
      records.push_back(recordOf(rows));
    }
  }
  std::vector<Message> messages;
  for (Record& record : records) {
    record.message.dueMs.reset();
    record.message.reason = expiryReason(record);
    store->move(&record, Cause::kTimeIsOver);
    messages.push_back(store->shown(record));
  }
  return messages;
}

void Outbox::Store::remove(const Record& record) {
  // Its attempts and notes go with it (ON DELETE CASCADE).
  database->change("DELETE FROM message WHERE sequence = ?", record.message.sequence);
  count(record.message.state, -1);
  // Where it was counted: within the last day, of an owner that was asked about since the start.
  database->run("UPDATE lately SET count = count - 1 WHERE owner = ? AND since < ?", record.message.owner,
                record.message.acceptedMs);
  // A batch holds its id as long as one of its messages does.
  if (record.batch) {
    database->change("DELETE FROM batch WHERE id = ?1 AND NOT EXISTS(SELECT 1 FROM message WHERE batch = ?1)",
                     *record.batch);
  }
}

void Outbox::purge(std::int64_t nowMs) {
  store->at(nowMs);
  if (store->storage.keepDays == 0) {
    return;
  }
  std::vector<Record> records;
  {
    Rows rows = store->database->rows("SELECT * FROM message WHERE ended <= ? ORDER BY ended LIMIT ?",
                                      store->nowMs - store->storage.keepDays * kDayMs, kMostAtOnce);
    while (rows.next()) {
      records.push_back(recordOf(rows));
    }
  }
  for (const Record& record : records) {
    store->remove(record);
  }
}

// A person wants it out: it gets its time and its attempts anew.
void Outbox::Store::renew(Record* record) {
  Message& message = record->message;
  // As long as it had at first: a person decides to send it, not for how long.
  message.expiresMs = nowMs + record->lifetimeMs;
  message.dueMs.reset();
  message.reason = "a person wants it sent again";
  record->attempts = 0;
  record->retries = 0;
  database->change("UPDATE message SET expires = ? WHERE sequence = ?", message.expiresMs, message.sequence);
}

}  // namespace orvix::gateway
