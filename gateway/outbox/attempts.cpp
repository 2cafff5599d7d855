// Attempts: begun, marked, ended, and what a start makes of those that were running.

#include <stdexcept>

#include "gateway/outbox/store.h"

namespace orvix::gateway {
namespace {

constexpr char kDiedBefore[] = "the service ended before the text was written";
constexpr char kDiedAfter[] = "the service ended when the text may have been written";

Record inState(MessageState state, const std::optional<Record>& record) {
  if (!record || record->message.state != state) {
    throw std::logic_error(std::string("there is no such message that is ") + wordOf(state));
  }
  return *record;
}

}  // namespace

int Outbox::beginAttempt(const std::string& id, const std::string& modem, std::int64_t nowMs) {
  store->at(nowMs);
  Record record = inState(MessageState::kQueued, store->record(id));
  Message& message = record.message;
  // Numbered by the database, so that no number is given twice. While it runs it counts in the budgets, whatever the
  // clock does.
  store->database->change(
      "INSERT INTO attempt(message, number, modem, recipient, is_alarm, weight, may_be_out, started, reason, recording)"
      " SELECT ?1, count(*) + 1, ?2, ?3, ?4, ?5, 0, ?6, '', '' FROM attempt WHERE message = ?1",
      message.sequence, modem, message.to, message.priority == Priority::kAlarm, kForEver, store->nowMs);
  message.modem = modem;
  // What the attempt before had brought.
  message.reference.reset();
  message.code.reset();
  message.reason.clear();
  message.dueMs.reset();
  store->move(&record, Cause::kBegun);
  // After the move, for it asks the attempts of that number.
  store->queue.onAttempt(message.to, store->nowMs);
  return store->attemptsBegun(message.sequence);
}

void Outbox::markMayBeOut(const std::string& id) {
  const Record record = inState(MessageState::kAttempting, store->record(id));
  // The attempt that runs is the one without an end; commit() makes the mark durable before the text may be written.
  store->database->change("UPDATE attempt SET may_be_out = 1 WHERE message = ? AND ended IS NULL",
                          record.message.sequence);
}

Message Outbox::endAttempt(const std::string& id, const AttemptEnd& end, std::int64_t nowMs) {
  store->at(nowMs);
  return store->finishAttempt(inState(MessageState::kAttempting, store->record(id)), end);
}

int Outbox::Store::attemptsBegun(std::int64_t sequence) {
  Rows rows = database->rows("SELECT count(*) FROM attempt WHERE message = ?", sequence);
  rows.next();
  return rows.as<int>(0);
}

Message Outbox::Store::finishAttempt(Record record, const AttemptEnd& end) {
  Message& message = record.message;
  // What went out, or may have, counts in the budgets from its end on; all else is given back.
  const bool mayBeOut = end.verdict == hostkit::Verdict::kSent || end.verdict == hostkit::Verdict::kUncertain;
  database->change(
      "UPDATE attempt SET ended = ?2, weight = ?3, verdict = ?4, reference = ?5, code = ?6, reason = ?7, recording = ?8"
      " WHERE message = ?1 AND ended IS NULL",
      message.sequence, nowMs, mayBeOut ? std::optional(nowMs) : std::nullopt, end.verdict, end.reference, end.code,
      end.reason, end.recording);
  const Outcome outcome = outcomeOf(end, message.onUncertain, record.attempts, sending);
  message.reference = end.reference;
  message.code = end.code;
  message.reason = end.reason;
  // For good: no later attempt undoes that this one may have gone out.
  record.isInDoubt = record.isInDoubt || end.verdict == hostkit::Verdict::kUncertain;
  record.attempts += outcome.isCounted ? 1 : 0;
  // Retries are counted apart from attempts: what costs no attempt waits longer and longer all the same.
  if (outcome.cause == Cause::kRetry && outcome.waits) {
    message.dueMs = nowMs + retryDelayMs(record.retries++, sending);
  }
  move(&record, outcome.cause);
  queue.onAttempt(message.to, nowMs);
  return shown(record);
}

std::vector<std::string> Outbox::recover(std::int64_t nowMs) {
  store->at(nowMs);
  // Read to the end first: what follows changes the table that is read.
  std::vector<std::int64_t> found;
  {
    Rows rows = store->database->rows("SELECT sequence FROM message WHERE state = 1 ORDER BY sequence");
    while (rows.next()) {
      found.push_back(rows.number(0));
    }
  }
  std::vector<std::string> modems;
  for (const std::int64_t sequence : found) {
    bool mayBeOut = false;
    {
      Rows rows =
          store->database->rows("SELECT modem, may_be_out FROM attempt WHERE message = ? AND ended IS NULL", sequence);
      if (rows.next()) {
        modems.push_back(rows.text(0));
        mayBeOut = rows.number(1) != 0;
      }
    }
    // hasAnswered stays true: nobody knows any more, and an attempt that counts cannot repeat itself for ever.
    AttemptEnd end;
    end.verdict = mayBeOut ? hostkit::Verdict::kUncertain : hostkit::Verdict::kNotSent;
    end.reason = mayBeOut ? kDiedAfter : kDiedBefore;
    store->finishAttempt(store->recordAt(sequence), end);
  }
  return modems;
}

}  // namespace orvix::gateway
