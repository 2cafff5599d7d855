// What is only looked at: requests, messages, recordings, counts.

#include "gateway/outbox/store.h"

namespace orvix::gateway {
namespace {

std::vector<Record> recordsOf(Rows rows) {
  std::vector<Record> records;
  while (rows.next()) {
    records.push_back(recordOf(rows));
  }
  return records;
}

// An owner's messages are found by their owner, but for the states that few are in.
Rows filtered(Database* database, const MessageFilter& filter) {
  if (filter.owner && filter.state.value_or(MessageState::kSent) == MessageState::kSent) {
    // The index holds owner and time: the time of the first message after the page begins the search, the sequence
    // tells apart what was accepted in one moment.
    return database->rows(
        "SELECT * FROM message WHERE owner = ?1 AND sequence > ?2 AND (?3 IS NULL OR state = ?3)"
        " AND accepted >= (SELECT accepted FROM message WHERE sequence > ?2 ORDER BY sequence LIMIT 1)"
        " ORDER BY accepted, sequence LIMIT ?4",
        *filter.owner, filter.afterSequence, filter.state, filter.limit);
  }
  if (filter.state) {
    return database->rows(
        "SELECT * FROM message WHERE state = ?1 AND sequence > ?2 AND (?3 IS NULL OR owner = ?3) ORDER BY sequence"
        " LIMIT ?4",
        *filter.state, filter.afterSequence, filter.owner, filter.limit);
  }
  return database->rows("SELECT * FROM message WHERE sequence > ? ORDER BY sequence LIMIT ?", filter.afterSequence,
                        filter.limit);
}

}  // namespace

std::optional<KnownRequest> Outbox::findRequest(const std::string& id) {
  // A part of a batch is no request: its id holds a "~", which no request's id does.
  if (const std::optional<Record> record = store->record(id); record && !record->batch) {
    return KnownRequest{record->message.owner, record->fingerprint, false, {store->shown(*record)}};
  }
  std::optional<KnownRequest> request;
  {
    Rows rows = store->database->rows("SELECT owner, fingerprint FROM batch WHERE id = ?", id);
    if (!rows.next()) {
      return std::nullopt;
    }
    request = KnownRequest{rows.text(0), rows.text(1), true, {}};
  }
  for (const Record& record :
       recordsOf(store->database->rows("SELECT * FROM message WHERE batch = ? ORDER BY sequence", id))) {
    request->messages.push_back(store->shown(record));
  }
  return request;
}

std::optional<Message> Outbox::find(const std::string& id) {
  const std::optional<Record> record = store->record(id);
  return record ? std::optional(store->shown(*record)) : std::nullopt;
}

std::vector<Message> Outbox::list(const MessageFilter& filter, std::int64_t nowMs) {
  store->at(nowMs);
  std::vector<Message> messages;
  for (const Record& record : recordsOf(filtered(store->database.get(), filter))) {
    messages.push_back(store->shown(record));
  }
  return messages;
}

// What is uncertain has no end: that of its last attempt counts.
std::optional<Message> Outbox::lastResult() {
  const auto records = recordsOf(store->database->rows(
      "SELECT * FROM (SELECT * FROM (SELECT * FROM message WHERE ended IS NOT NULL ORDER BY ended DESC, sequence DESC"
      " LIMIT 1) UNION ALL SELECT * FROM message WHERE state = 4)"
      " ORDER BY coalesce(ended, (SELECT max(ended) FROM attempt WHERE message = sequence)) DESC LIMIT 1"));
  return records.empty() ? std::nullopt : std::optional(store->shown(records.front()));
}

Counts Outbox::counts() {
  Counts counts;
  {
    Rows rows = store->database->rows("SELECT state, count FROM tally");
    while (rows.next()) {
      counts.perState[rows.number(0)] = rows.number(1);
    }
  }
  // In the order of acceptance, which the clock follows.
  Rows rows = store->database->rows("SELECT accepted FROM message WHERE state = 0 ORDER BY sequence LIMIT 1");
  counts.oldestQueuedMs = rows.next() ? rows.optional(0) : std::nullopt;
  return counts;
}

std::optional<std::string> Outbox::recording(const std::string& id, int number) {
  Rows rows = store->database->rows(
      "SELECT recording FROM attempt WHERE message = (SELECT sequence FROM message WHERE id = ?) AND number = ?", id,
      number);
  // Empty when there was no traffic, or when the service itself ended meanwhile: nothing to replay.
  return rows.next() && !rows.text(0).empty() ? std::optional(rows.text(0)) : std::nullopt;
}

}  // namespace orvix::gateway
