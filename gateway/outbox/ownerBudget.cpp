// What an owner had accepted in the last 24 hours, and when it may have more.

#include <algorithm>

#include "common/duration.h"
#include "gateway/outbox/store.h"

namespace orvix::gateway {

// Counted once for each owner and then kept up: what is accepted comes in, what is older goes out.
std::int64_t Outbox::Store::acceptedLately(const std::string& owner) {
  const std::int64_t sinceMs = nowMs - kDayMs;
  if (database->rows("SELECT 1 FROM lately WHERE owner = ?", owner).next()) {
    database->run(
        "UPDATE lately SET since = ?2, count = count - (SELECT count(*) FROM message WHERE owner = ?1"
        " AND accepted > since AND accepted <= ?2) WHERE owner = ?1",
        owner, sinceMs);
  } else {
    database->run("INSERT INTO lately SELECT ?1, ?2, count(*) FROM message WHERE owner = ?1 AND accepted > ?2", owner,
                  sinceMs);
  }
  Rows rows = database->rows("SELECT count FROM lately WHERE owner = ?", owner);
  rows.next();
  return rows.number(0);
}

std::optional<std::int64_t> Outbox::ownerFreeMs(const std::string& owner, int perDay, int count, std::int64_t nowMs) {
  store->at(nowMs);
  const std::int64_t accepted = store->acceptedLately(owner);
  const std::int64_t surplus = accepted + count - perDay;
  if (surplus <= 0) {
    return std::nullopt;
  }
  // Room comes when as many of the oldest are a day old as there are too many.
  Rows rows = store->database->rows(
      "SELECT accepted FROM message WHERE owner = ? AND accepted > ? ORDER BY accepted LIMIT 1 OFFSET ?", owner,
      store->nowMs - kDayMs, std::min(surplus, accepted) - 1);
  return (rows.next() ? rows.number(0) : store->nowMs) + kDayMs;
}

}  // namespace orvix::gateway
