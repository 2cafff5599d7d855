// Rows of the tables message and attempt as values. Internal. One thread.
//
// The values own their bytes, so that the statement can go on or be used again.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "gateway/message/message.h"
#include "gateway/outbox/database.h"
#include "hostkit/messageFit.h"

namespace orvix::gateway {

// A message without its attempts, and what only this room knows of it: budgets and the queue work on that, the world
// never sees it.
// Read from a row, changed in memory, and written as a whole by Store::move: no function writes a part of it, but for
// the times that a person's resend renews.
struct Record {
  Message message;
  std::optional<std::string> batch;  // id of the request that it is a part of
  std::string fingerprint;
  int charsets = 0;             // bit N: hostkit::Charset N carries the text
  bool isInDoubt = false;       // an attempt of it is uncertain
  int attempts = 0;             // that count
  int retries = 0;              // in a row
  std::int64_t lifetimeMs = 0;  // that it was given at first
};

// Of "SELECT * FROM message": the columns are taken by their place in the table.
// While the statement stands on a row; it reads all columns, so that a caller needs no list of its own.
Record recordOf(const Rows& rows);

// Of one message, from its first to its last.
std::vector<Attempt> attemptsOf(Database* database, std::int64_t sequence);

// The charsets that carry the text, as Record keeps them.
// 0 for a text that no charset carries. Bits are stored: an enumerator of Charset never changes its number.
int charsetsOf(const std::string& text);
int bitOf(hostkit::Charset charset);

}  // namespace orvix::gateway
