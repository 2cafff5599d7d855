// Notes of changes, kept until the MQTT door is rid of them, and the way of reports in and out.

#include <stdexcept>

#include "gateway/outbox/store.h"

namespace orvix::gateway {

void Outbox::Store::addNote(const Record& record) {
  const Message& message = record.message;
  // Other owners ask over HTTP: nobody would ever drop their notes.
  if (message.owner != "mqtt") {
    return;
  }
  database->change(
      "INSERT INTO note(message, state, modem, reference, code, reason, due, ended, attempts)"
      " VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)",
      message.sequence, message.state, message.modem.value_or(""), message.reference, message.code, message.reason,
      message.dueMs, message.endedMs, attemptsBegun(message.sequence));
}

void Outbox::announce(const std::string& id) {
  const std::optional<Record> record = store->record(id);
  if (!record) {
    throw std::logic_error("there is no message " + id);
  }
  store->addNote(*record);
}

// Only the last attempt of a note can have gone on since then: it ran when the message was being attempted.
std::vector<Outbox::Announcement> Outbox::announcements(std::int64_t afterNumber, int limit) {
  std::vector<Announcement> found;
  Rows rows = store->database->rows(
      "SELECT number, message, state, modem, reference, code, reason, due, ended, attempts FROM note WHERE number > ?"
      " ORDER BY number LIMIT ?",
      afterNumber, limit);
  while (rows.next()) {
    // The message as it is now, and over it what the note remembers of its moment.
    Message message = store->recordAt(rows.number(1)).message;
    message.state = rows.as<MessageState>(2);
    message.modem = rows.text(3).empty() ? std::nullopt : std::optional(rows.text(3));
    message.reference = rows.optional<int>(4);
    message.code = rows.optional<int>(5);
    message.reason = rows.text(6);
    message.dueMs = rows.optional(7);
    message.endedMs = rows.optional(8);
    message.attempts = attemptsOf(store->database.get(), message.sequence);
    // Attempts that began later are no part of that moment.
    message.attempts.resize(rows.as<std::size_t>(9));
    if (message.state == MessageState::kAttempting) {
      const Attempt& last = message.attempts.back();
      message.attempts.back() = {last.number, last.modem, last.startedMs, {}, {}, {}, {}, ""};
    }
    found.push_back({rows.number(0), std::move(message)});
  }
  return found;
}

void Outbox::dropAnnouncement(std::int64_t number) {
  store->database->change("DELETE FROM note WHERE number = ?", number);
}

void Outbox::addReport(const std::string& modem, std::optional<int> dBm, bool isRegistered, std::int64_t nowMs) {
  store->reports.add(modem, dBm, isRegistered, store->at(nowMs));
}

std::vector<HistoryPoint> Outbox::history(const std::string& modem, std::int64_t fromMs, std::int64_t toMs,
                                          int points) {
  return store->reports.history(modem, fromMs, toMs, points, store->nowMs);
}

}  // namespace orvix::gateway
