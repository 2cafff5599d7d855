// Who is next: the order of the queue, and what makes a message wait. Internal. One thread.
//
// Messages that differ in nothing but their age form a lane: same number, same priority, same modem wanted, carried by
// the same charsets. Only the oldest of a lane can be next, so that a table of those oldest ones, `turn`, is enough to
// choose from, however many stand after them. Who comes back for another attempt gets a row of its own. The table is
// temporary: it lives in memory, takes part in the transactions, and is made anew from the messages at each start.
//
// A row's `wake` is 0 when it may go at once, else the time at which it may: that of its retry or of its number's
// budget; "for ever" while attempts that still run fill the budget.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "gateway/outbox/database.h"
#include "gateway/outbox/outbox.h"
#include "gateway/outbox/rows.h"

namespace orvix::gateway {

inline constexpr std::int64_t kForEver = INT64_MAX;

class Queue {
 public:
  Queue(Database* outbox, const Budget& budget) : database(outbox), perRecipient(budget) {}

  // Once, after the opening; rebuild fills them from the messages.
  void makeTables();
  void rebuild(std::int64_t nowMs);

  // To be called after the change in the table of messages.
  void enter(const Record& record, std::int64_t nowMs);
  void leave(const Record& record, std::int64_t nowMs);
  // An attempt to that number has begun or ended.
  void onAttempt(const std::string& recipient, std::int64_t nowMs);

  // The sequence of the message that this modem takes next.
  std::optional<std::int64_t> pick(const FreeModem& modem, std::int64_t nowMs);
  // When pick may answer otherwise by time alone.
  std::optional<std::int64_t> nextChangeMs(std::int64_t nowMs);

  // Tells in `reason` and `dueMs` what a queued message waits for.
  void explain(Record* record, std::int64_t nowMs);

 private:
  // A row of the table; `apart` is 0 or the message's own sequence.
  void insert(const Record& record, std::int64_t apart, std::int64_t nowMs);
  std::int64_t nextWakeMs();  // kForEver when nothing waits for a time
  void wakeUp(std::int64_t nowMs);
  // When the budget of a number or of a modem has room for one more: 0 for now, kForEver while it cannot be told.
  std::int64_t recipientFreeMs(const std::string& recipient, bool isAlarm, std::int64_t nowMs);
  std::int64_t modemFreeMs(const FreeModem& modem, bool isAlarm, std::int64_t nowMs);
  void explainModems(Record* record, std::int64_t nowMs);

  Database* const database;
  const Budget perRecipient;
  std::map<std::string, FreeModem> modems;  // that were offered so far
};

}  // namespace orvix::gateway
