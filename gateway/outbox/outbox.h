// The durable outbox: messages, attempts with their traffic, reports. The only room that knows the database.
//
// Threads: one. Time comes in as a parameter, in milliseconds of service time; nothing here sleeps or reads a clock. It
// only goes on: a call that tells an earlier time counts as one at the latest, and so does a call that tells none.
//
// Every change joins one open transaction, begun by the first of them. commit() makes all of them durable (WAL,
// synchronous FULL) or none: who was promised something is answered only after it. What stands in the database is the
// state; what is derived from it (the counts, who is next) stands in temporary tables of the same transaction and is
// made anew at each start. Only reports wait in memory, for 5 minutes; an end of the service loses them.
//
// A move that is not in the table of moves (moves.h) throws std::logic_error and changes nothing. StoreError is thrown
// when the database does not do what it must (full or failing disk, damage): the open transaction is rolled back then
// and the caller's changes since the last commit are void.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gateway/config/config.h"
#include "gateway/message/message.h"
#include "gateway/outbox/storeError.h"
#include "hostkit/errorClass.h"

namespace orvix::gateway {

// A message as it is handed in, found fit by the service: nothing is checked here again.
struct NewMessage {
  std::string id;
  std::string owner;
  std::string to;
  std::string text;
  Priority priority = Priority::kNormal;
  OnUncertain onUncertain = OnUncertain::kHold;
  std::optional<std::string> wantedModem;
  std::int64_t expiresMs = 0;
};

// One request as it was accepted: a single message under the id itself, or several under "ID~1", "ID~2" ...
struct NewRequest {
  std::string id;
  std::string owner;
  std::string fingerprint;  // of its content: the same id with another fingerprint is another request
  bool isBatch = false;     // its messages carry the id with "~" and their number, from 1
  std::vector<NewMessage> messages;
};

// A request that is there already, to be compared with one of the same id.
struct KnownRequest {
  std::string owner;
  std::string fingerprint;
  bool isBatch = false;
  std::vector<Message> messages;
};

// How an attempt ended, as the worker or the death of a worker tells.
struct AttemptEnd {
  hostkit::Verdict verdict = hostkit::Verdict::kUncertain;
  std::optional<int> reference;
  std::optional<int> code;
  std::optional<hostkit::ErrorClass> errorClass;  // of a refusal
  bool hasAnswered = true;                        // false: not a byte came from the modem
  std::string reason;
  std::string recording;  // in the format of docs/recording.md
};

// A modem that is free to take a message now.
struct FreeModem {
  std::string name;
  hostkit::Charset charset = hostkit::Charset::kIra;
  // What may go out by it within 24 hours; 0: no limit.
  int perDay = 0;
};

struct Counts {
  std::int64_t perState[kMessageStates] = {};
  std::optional<std::int64_t> oldestQueuedMs;  // acceptance of the oldest queued message

  std::int64_t of(MessageState state) const { return perState[static_cast<std::size_t>(state)]; }
};

// What list() shows: oldest first, at most `limit` of those after `afterSequence`.
struct MessageFilter {
  std::optional<std::string> owner;
  std::optional<MessageState> state;
  std::int64_t afterSequence = 0;
  int limit = 100;
};

// A stretch of a modem's history. The signal is none when no measurement of the stretch knew it.
struct HistoryPoint {
  std::int64_t timeMs = 0;
  std::optional<int> minDbm;
  std::optional<double> meanDbm;
  std::optional<int> maxDbm;
  bool isRegistered = false;
};

class Outbox {
 public:
  // Opens outbox.db in the folder or makes it, and the folder, but not its parents. Throws StoreError, the file
  // untouched, for one that is damaged, foreign, newer or not writable, and StoreInUse where another service works in
  // the folder.
  Outbox(const StorageConfig& storage, const SendingConfig& sending);
  ~Outbox();
  Outbox(const Outbox&) = delete;
  Outbox& operator=(const Outbox&) = delete;

  // Nothing to commit is success, but shows nothing: `isTrial` writes even so. Whether anything was written. Throws
  // StoreError.
  bool commit(bool isTrial = false);
  void rollback();

  // The highest service time, and the offset to the wall clock, that were committed; see setTime.
  std::int64_t storedTimeMs() const;
  std::int64_t storedOffsetMs() const;
  // Written along with the next commit that has a reason of its own.
  void setTime(std::int64_t nowMs, std::int64_t offsetMs);

  // What a start makes of attempts that were found running: without the mark queued again (the attempt counts), with it
  // uncertain. Returns the modems they ran on: each may wait at its prompt.
  // To be called once, before anything else changes a message, and to be committed before a modem gets an order.
  std::vector<std::string> recover(std::int64_t nowMs);

  // The request of that id with those of its messages that are still kept.
  std::optional<KnownRequest> findRequest(const std::string& id);
  // Nothing of that id may be there. Returns the messages as they are now.
  // An id that is taken after all is a StoreError, as the table's UNIQUE finds it.
  std::vector<Message> accept(const NewRequest& request, std::int64_t nowMs);
  // A message that waits for a budget tells so in `reason` and `dueMs`, here and wherever else a message is returned.
  std::optional<Message> find(const std::string& id);
  std::vector<Message> list(const MessageFilter& filter, std::int64_t nowMs);
  Counts counts();
  // The message that ended last, or became uncertain after it.
  std::optional<Message> lastResult();
  // When an owner may have `count` more messages accepted, of `perDay` in 24 hours; none: now. More than there can ever
  // be are told the time at which the budget is whole.
  std::optional<std::int64_t> ownerFreeMs(const std::string& owner, int perDay, int count, std::int64_t nowMs);
  // Of one attempt; none when it has no recording.
  std::optional<std::string> recording(const std::string& id, int number);

  // The message that this modem takes next: alarm, normal, bulk, then first come, past all that must wait or that it
  // does not carry. None: nothing for it now.
  // Only looks: beginAttempt takes the message.
  std::optional<Message> next(const FreeModem& modem, std::int64_t nowMs);
  // queued -> attempting; the number of the attempt.
  int beginAttempt(const std::string& id, const std::string& modem, std::int64_t nowMs);
  // Only after the commit of it may the text be written.
  void markMayBeOut(const std::string& id);
  // attempting -> sent, failed, uncertain, or queued again with its retry time; as the classes of codes tell. A refusal
  // without a class counts as one by chance.
  Message endAttempt(const std::string& id, const AttemptEnd& end, std::int64_t nowMs);

  // queued -> cancelled (uncertain, when an attempt was). None: not queued.
  std::optional<Message> cancel(const std::string& id, std::int64_t nowMs);
  enum class Resolution { kSent, kResend, kDrop };
  // A person's decision. None: not uncertain. What is sent again gets its lifetime and its attempts anew.
  std::optional<Message> resolve(const std::string& id, Resolution resolution, std::int64_t nowMs);
  // queued -> expired (uncertain, when an attempt was) of those whose time has come, a bounded number a call; the
  // messages moved.
  std::vector<Message> expire(std::int64_t nowMs);
  // Removes messages, with their attempts and ids, that ended keepDays ago; at most a bounded number a call.
  void purge(std::int64_t nowMs);
  // When next() or expire() may next answer otherwise without any other call; none: never.
  std::optional<std::int64_t> nextChangeMs(std::int64_t nowMs);

  // A modem's measurement. Written by the first commit() in which there are 5 minutes of them: each is kept for a day,
  // means of 5 minutes for 30 days, of an hour for a year.
  void addReport(const std::string& modem, std::optional<int> dBm, bool isRegistered, std::int64_t nowMs);
  // At most `points` points, oldest first; a stretch without a measurement has none. The time of a point is that of the
  // first measurement in it; it is registered when it was in all of them.
  // Of one level of detail for each stretch of time: single measurements of the last day, means before.
  std::vector<HistoryPoint> history(const std::string& modem, std::int64_t fromMs, std::int64_t toMs, int points);

  // Every message of the owner "mqtt" leaves a note at each change of state, oldest first, until it is dropped.
  struct Announcement {
    std::int64_t number = 0;
    Message message;  // as it was at that change
  };
  std::vector<Announcement> announcements(std::int64_t afterNumber, int limit);
  void announce(const std::string& id);  // once more as it is
  void dropAnnouncement(std::int64_t number);

  // Integrity of the database and of our own rules; "" when all is well, else what is wrong.
  std::string check();

 private:
  struct Store;
  std::unique_ptr<Store> store;
};

}  // namespace orvix::gateway
