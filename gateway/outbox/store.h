// What the sources of this room share behind Outbox. Internal. One thread.
//
// Records are read, changed in memory, and given to move(), which writes them as a whole: what a caller sets in a
// record is on the disk only after that.
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
  // Opens, checks and derives: throws StoreError and StoreInUse as Outbox's constructor does.
  Store(const StorageConfig& storageConfig, const SendingConfig& sendingConfig);

  // The later of the time that is told and the last one; every public function calls it before it looks at nowMs.
  std::int64_t at(std::int64_t timeMs);

  // By its id; none when there is no such message.
  std::optional<Record> record(const std::string& id);
  // By its key; std::logic_error when there is no such message, for keys come from the database itself.
  Record recordAt(std::int64_t sequence);
  // The message as the world sees it now: with its attempts, and with what it waits for.
  Message shown(Record record);

  // Into the table, the counts and the queue.
  Record insert(const NewMessage& message, const NewRequest& request);
  // The only writer of a message's state. What the cause tells of the message is in the record already. Keeps the
  // counts, the queue and the notes in step; std::logic_error for a move that is not in the table.
  void move(Record* record, Cause cause);
  // For the owner "mqtt" alone.
  void addNote(const Record& record);
  // Counts of states are kept, since counting 100,000 rows at every look at the queue would cost too much.
  void count(MessageState state, int difference);
  // How many attempts the message has, the running one included.
  int attemptsBegun(std::int64_t sequence);
  // How many the owner had accepted within the last 24 hours.
  std::int64_t acceptedLately(const std::string& owner);
  // The end of the attempt that runs, from whatever side it is told.
  // `record` must be one that is attempting, and its attempt the only one without an end.
  Message finishAttempt(Record record, const AttemptEnd& end);
  // Gives it its lifetime and its attempts anew; the move that follows writes the rest.
  void renew(Record* record);  // for a person's resend
  // With its attempts and notes; a batch goes with the last of its messages.
  void remove(const Record& record);

  // In the order in which they are made: the folder's lock first, the derived tables last.
  const StorageConfig storage;
  const SendingConfig sending;
  const StoreFolder folder;
  const std::unique_ptr<Database> database;
  Queue queue;
  Reports reports;
  std::int64_t nowMs = 0;  // latest time told; never earlier than what was stored
  // As they stand on the disk, for the clock of the next start.
  std::int64_t storedTimeMs = 0;
  std::int64_t storedOffsetMs = 0;
  std::int64_t offsetMs = 0;
};

}  // namespace orvix::gateway
