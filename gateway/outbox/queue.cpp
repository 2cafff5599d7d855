#include "gateway/outbox/queue.h"

#include <algorithm>
#include <tuple>
#include <vector>

#include "common/duration.h"

namespace orvix::gateway {
namespace {

bool isAlarm(Priority priority) {
  return priority == Priority::kAlarm;
}

std::int64_t dueOf(const Record& record) {
  return record.message.dueMs.value_or(0);
}

// When a budget has room for one more, of which the weight of the `count`-th last attempt is given: 0 for now.
std::int64_t freeMs(Rows rows, const Budget& budget, std::int64_t nowMs) {
  if (!rows.next()) {
    return 0;
  }
  const std::int64_t weight = rows.number(0);
  const std::int64_t free = weight == kForEver ? kForEver : weight + budget.seconds * kSecondMs;
  return free <= nowMs ? 0 : free;
}

}  // namespace

// `apart`: 0 for the oldest of its lane, its own sequence for one that came back.
void Queue::makeTables() {
  database->script(R"(
    CREATE TEMP TABLE turn(sequence INTEGER PRIMARY KEY, recipient TEXT, priority INTEGER, wanted TEXT,
      charsets INTEGER, apart INTEGER, expires INTEGER, due INTEGER, wake INTEGER,
      UNIQUE(recipient, priority, wanted, charsets, apart));
    CREATE INDEX temp.turn_ready ON turn(wanted, priority, sequence, charsets, expires) WHERE wake = 0;
    CREATE INDEX temp.turn_wake ON turn(wake) WHERE wake > 0;)");
}

void Queue::rebuild(std::int64_t nowMs) {
  database->run("DELETE FROM turn");
  database->run(
      // The oldest of each lane; then those that came back for another attempt, each by itself.
      "INSERT INTO turn SELECT min(sequence), recipient, priority, wanted, charsets, 0, expires, 0, 0 FROM message"
      " WHERE state = 0 AND due IS NULL GROUP BY recipient, priority, wanted, charsets");
  database->run(
      "INSERT INTO turn SELECT sequence, recipient, priority, wanted, charsets, sequence, expires, due, due"
      " FROM message WHERE state = 0 AND due IS NOT NULL");
  // Whom a budget may hold: all others go at once.
  std::vector<std::string> recipients;
  {
    Rows rows = database->rows(
        "SELECT DISTINCT recipient FROM attempt WHERE weight > ? AND recipient IN (SELECT recipient FROM turn)",
        nowMs - perRecipient.seconds * kSecondMs);
    while (rows.next()) {
      recipients.push_back(rows.text(0));
    }
  }
  for (const std::string& recipient : recipients) {
    onAttempt(recipient, nowMs);
  }
}

void Queue::insert(const Record& record, std::int64_t apart, std::int64_t nowMs) {
  const Message& message = record.message;
  const std::int64_t free = recipientFreeMs(message.to, isAlarm(message.priority), nowMs);
  database->run("INSERT INTO turn VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)", message.sequence, message.to, message.priority,
                message.wantedModem.value_or(""), record.charsets, apart, message.expiresMs, dueOf(record),
                std::max(dueOf(record), free));
}

void Queue::enter(const Record& record, std::int64_t nowMs) {
  const Message& message = record.message;
  if (message.dueMs) {
    insert(record, message.sequence, nowMs);
    return;
  }
  std::optional<std::int64_t> oldest;
  {
    Rows rows = database->rows(
        "SELECT sequence FROM turn WHERE recipient = ? AND priority = ? AND wanted = ? AND charsets = ? AND apart = 0",
        message.to, message.priority, message.wantedModem.value_or(""), record.charsets);
    oldest = rows.next() ? rows.optional(0) : std::nullopt;
  }
  // A person's resend brings an old message back into its lane: it is first again.
  if (oldest && *oldest > message.sequence) {
    database->run("DELETE FROM turn WHERE sequence = ?", *oldest);
    oldest.reset();
  }
  if (!oldest) {
    insert(record, 0, nowMs);
  }
}

void Queue::leave(const Record& record, std::int64_t nowMs) {
  const Message& message = record.message;
  database->run("DELETE FROM turn WHERE sequence = ?", message.sequence);
  // The next one of the lane takes the turn.
  std::optional<Record> oldest;
  {
    Rows rows = database->rows(
        "SELECT * FROM message WHERE recipient = ? AND priority = ? AND wanted = ? AND charsets = ? AND state = 0"
        " AND due IS NULL ORDER BY sequence LIMIT 1",
        message.to, message.priority, message.wantedModem.value_or(""), record.charsets);
    if (rows.next()) {
      oldest = recordOf(rows);
    }
  }
  if (oldest) {
    enter(*oldest, nowMs);
  }
}

void Queue::onAttempt(const std::string& recipient, std::int64_t nowMs) {
  // Alarms are held back by alarms alone, all else by whatever went out.
  for (const bool alarm : {true, false}) {
    const std::int64_t free = recipientFreeMs(recipient, alarm, nowMs);
    database->run(
        "UPDATE turn SET wake = max(due, ?2) WHERE recipient = ?1 AND (priority = 0) = ?3 AND wake != max(due, ?2)",
        recipient, free, alarm);
  }
}

std::int64_t Queue::nextWakeMs() {
  Rows rows = database->rows("SELECT min(wake) FROM turn WHERE wake > 0");
  return rows.next() ? rows.optional(0).value_or(kForEver) : kForEver;
}

// A look costs a tenth of a change that finds nothing to change.
void Queue::wakeUp(std::int64_t nowMs) {
  if (nextWakeMs() <= nowMs) {
    database->run("UPDATE turn SET wake = 0, due = 0 WHERE wake > 0 AND wake <= ?", nowMs);
  }
}

std::optional<std::int64_t> Queue::pick(const FreeModem& modem, std::int64_t nowMs) {
  modems[modem.name] = modem;
  wakeUp(nowMs);
  std::optional<std::tuple<Priority, std::int64_t>> best;
  // Two looks, each along the index, for messages that any modem may take and for those that want this one. What has
  // expired and was not moved yet must not go out.
  for (const std::string& wanted : {std::string(), modem.name}) {
    Rows rows = database->rows(
        "SELECT priority, sequence FROM turn WHERE wake = 0 AND wanted = ? AND charsets & ? AND expires > ?"
        " ORDER BY priority, sequence LIMIT 1",
        wanted, bitOf(modem.charset), nowMs);
    if (rows.next()) {
      const std::tuple found{rows.as<Priority>(0), rows.number(1)};
      best = best ? std::min(*best, found) : found;
    }
  }
  // The most urgent one decides: where an alarm has to wait for the modem's budget, all else has to.
  if (!best || modemFreeMs(modem, isAlarm(std::get<Priority>(*best)), nowMs) != 0) {
    return std::nullopt;
  }
  return std::get<std::int64_t>(*best);
}

std::optional<std::int64_t> Queue::nextChangeMs(std::int64_t nowMs) {
  wakeUp(nowMs);
  std::int64_t next = nextWakeMs();
  // A modem's budget makes nobody's row wait: it is asked when the modem is free, and here.
  for (const auto& [name, modem] : modems) {
    for (const bool alarm : {true, false}) {
      const std::int64_t free = modemFreeMs(modem, alarm, nowMs);
      next = free != 0 ? std::min(next, free) : next;
    }
  }
  return next == kForEver ? std::nullopt : std::optional(next);
}

std::int64_t Queue::recipientFreeMs(const std::string& recipient, bool isAlarm, std::int64_t nowMs) {
  if (perRecipient.count == 0 || perRecipient.seconds == 0) {
    return 0;
  }
  // The weight of the count-th last: when that one is old enough, there is room for one more.
  return freeMs(database->rows("SELECT weight FROM attempt WHERE recipient = ? AND weight > ? AND is_alarm >= ?"
                               " ORDER BY weight DESC LIMIT 1 OFFSET ?",
                               recipient, nowMs - perRecipient.seconds * kSecondMs, isAlarm, perRecipient.count - 1),
                perRecipient, nowMs);
}

std::int64_t Queue::modemFreeMs(const FreeModem& modem, bool isAlarm, std::int64_t nowMs) {
  if (modem.perDay == 0) {
    return 0;
  }
  const Budget perDay{modem.perDay, kDayMs / kSecondMs};
  return freeMs(database->rows("SELECT weight FROM attempt WHERE modem = ? AND weight > ? AND is_alarm >= ?"
                               " ORDER BY weight DESC LIMIT 1 OFFSET ?",
                               modem.name, nowMs - kDayMs, isAlarm, modem.perDay - 1),
                perDay, nowMs);
}

void Queue::explain(Record* record, std::int64_t nowMs) {
  Message& message = record->message;
  // A retry has its own reason and time.
  if (message.state != MessageState::kQueued || message.dueMs.value_or(0) > nowMs) {
    return;
  }
  message.dueMs.reset();
  const std::int64_t free = recipientFreeMs(message.to, isAlarm(message.priority), nowMs);
  if (free == 0) {
    explainModems(record, nowMs);
    return;
  }
  message.reason = "waits: " + std::to_string(perRecipient.count) + " messages to this number within " +
                   std::to_string(perRecipient.seconds) + " s are out";
  message.dueMs = free == kForEver ? std::nullopt : std::optional(free);
}

// Only where each modem that was there so far has to wait.
void Queue::explainModems(Record* record, std::int64_t nowMs) {
  Message& message = record->message;
  // The soonest of the modems that may take it decides.
  std::int64_t free = kForEver;
  bool isHeld = false;
  for (const auto& [name, modem] : modems) {
    if (message.wantedModem.value_or(name) == name && (record->charsets & bitOf(modem.charset)) != 0) {
      free = std::min(free, modemFreeMs(modem, isAlarm(message.priority), nowMs));
      isHeld = true;
    }
  }
  if (isHeld && free != 0) {
    message.reason = "waits: the modem has sent its messages of 24 h";
    message.dueMs = free == kForEver ? std::nullopt : std::optional(free);
  }
}

}  // namespace orvix::gateway
