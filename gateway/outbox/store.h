// What the sources of this room share behind Outbox. Internal. One thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gateway/outbox/database.h"
#include "gateway/outbox/moves.h"
#include "gateway/outbox/outbox.h"
#include "gateway/outbox/queue.h"
#include "gateway/outbox/reports.h"
#include "gateway/outbox/rows.h"
#include "gateway/outbox/schema.h"

namespace orvix::gateway {

struct Outbox::Store {
  Store(const StorageConfig& storageConfig, const SendingConfig& sendingConfig);

  // Time goes on with every call that tells one.
  std::int64_t at(std::int64_t timeMs);

  std::optional<Record> record(const std::string& id);
  Record recordAt(std::int64_t sequence);
  // The message as the world sees it now.
  Message shown(Record record);

  std::int64_t insert(const NewMessage& message, const NewRequest& request);
  // The only writer of a message's state. What the cause tells of the message is in the record already.
  void move(Record* record, Cause cause);
  void addNote(const Record& record);
  void count(MessageState state, int difference);
  int attemptsBegun(std::int64_t sequence);
  Message finishAttempt(Record record, const AttemptEnd& end);
  void renew(Record* record);
  void remove(const Record& record);

  const StorageConfig storage;
  const SendingConfig sending;
  const StoreFolder folder;
  const std::unique_ptr<Database> database;
  Queue queue;
  Reports reports;
  std::int64_t nowMs = 0;
  std::int64_t storedTimeMs = 0;
  std::int64_t storedOffsetMs = 0;
  std::int64_t offsetMs = 0;
};

}  // namespace orvix::gateway
