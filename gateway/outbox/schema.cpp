#include "gateway/outbox/schema.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace orvix::gateway {
namespace {

constexpr std::uint32_t kApplicationId = 0x6f67736d;  // in the header of each of our files

// Words for every table. Times are in ms; enumerations stand as their numbers; '' is "no particular modem".
//
// message   doubt: one of its attempts is uncertain. attempts: those that count. retries: in a row, for the backoff.
//           charsets: bit N is set when hostkit::Charset N carries its text. due: not before, of a retry.
// attempt   weight: what a budget counts it as: nothing, or the time until which it may have gone out, which is
//           "for ever" while it runs. The copies of recipient and priority are there for the budgets' indices.
// note      a change of a message, to be told over MQTT; attempts: how many there were.
// report    level 0: each, 1: 5 minutes, 2: an hour from `time` on; dBm is unknown where count is 0.
constexpr char kTables[] = R"(
CREATE TABLE clock(only_row INTEGER PRIMARY KEY CHECK(only_row = 1), time INTEGER NOT NULL, offset INTEGER NOT NULL)
  STRICT;
INSERT INTO clock VALUES(1, 0, 0);

CREATE TABLE batch(id TEXT PRIMARY KEY, owner TEXT NOT NULL, fingerprint TEXT NOT NULL) STRICT, WITHOUT ROWID;

CREATE TABLE message(
  sequence INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, batch TEXT REFERENCES batch, owner TEXT NOT NULL,
  fingerprint TEXT NOT NULL, recipient TEXT NOT NULL, text TEXT NOT NULL, priority INTEGER NOT NULL,
  on_uncertain INTEGER NOT NULL, wanted TEXT NOT NULL, charsets INTEGER NOT NULL, accepted INTEGER NOT NULL,
  expires INTEGER NOT NULL, state INTEGER NOT NULL, doubt INTEGER NOT NULL, attempts INTEGER NOT NULL,
  retries INTEGER NOT NULL, due INTEGER, ended INTEGER, modem TEXT NOT NULL, reference INTEGER, code INTEGER,
  reason TEXT NOT NULL) STRICT;
CREATE INDEX message_batch ON message(batch) WHERE batch IS NOT NULL;
CREATE INDEX message_state ON message(state);
CREATE INDEX message_owner ON message(owner, accepted);
CREATE INDEX message_lane ON message(recipient, priority, wanted, charsets) WHERE state = 0 AND due IS NULL;
CREATE INDEX message_retry ON message(due) WHERE state = 0 AND due IS NOT NULL;
CREATE INDEX message_expires ON message(expires) WHERE state = 0;
CREATE INDEX message_ended ON message(ended) WHERE ended IS NOT NULL;

CREATE TABLE attempt(
  message INTEGER NOT NULL REFERENCES message ON DELETE CASCADE, number INTEGER NOT NULL, modem TEXT NOT NULL,
  recipient TEXT NOT NULL, is_alarm INTEGER NOT NULL, weight INTEGER, may_be_out INTEGER NOT NULL,
  started INTEGER NOT NULL, ended INTEGER, verdict INTEGER, reference INTEGER, code INTEGER, reason TEXT NOT NULL,
  recording TEXT NOT NULL, PRIMARY KEY(message, number)) STRICT, WITHOUT ROWID;
CREATE INDEX attempt_recipient ON attempt(recipient, weight, is_alarm) WHERE weight IS NOT NULL;
CREATE INDEX attempt_modem ON attempt(modem, weight, is_alarm) WHERE weight IS NOT NULL;

CREATE TABLE note(
  number INTEGER PRIMARY KEY AUTOINCREMENT, message INTEGER NOT NULL REFERENCES message ON DELETE CASCADE,
  state INTEGER NOT NULL, modem TEXT NOT NULL, reference INTEGER, code INTEGER, reason TEXT NOT NULL, due INTEGER,
  ended INTEGER, attempts INTEGER NOT NULL) STRICT;
CREATE INDEX note_message ON note(message);

CREATE TABLE report(
  modem TEXT NOT NULL, level INTEGER NOT NULL, time INTEGER NOT NULL, count INTEGER NOT NULL, sum INTEGER NOT NULL,
  least INTEGER, most INTEGER, is_registered INTEGER NOT NULL, PRIMARY KEY(modem, level, time)) STRICT, WITHOUT ROWID;
)";

// Locked exclusively, the database needs no file in shared memory. Pages are small, since each page that a message
// touches wears the flash; pages that are free again are used again, so that the file never grows beyond what
// queueLimit and keepDays hold. The log is brought into the file every 4 MB: so seldom that less than one acceptance in
// a hundred has to wait for it.
constexpr char kSettings[] =
    "PRAGMA page_size = 1024; PRAGMA locking_mode = EXCLUSIVE; PRAGMA foreign_keys = ON; PRAGMA synchronous = FULL;"
    "PRAGMA temp_store = MEMORY; PRAGMA cache_size = -1024; PRAGMA wal_autocheckpoint = 4096;"
    "PRAGMA journal_size_limit = 4194304;";

// lifetime: from the acceptance to `expires`, which a person's resend moves.
constexpr char kAddLifetime[] = R"(
ALTER TABLE message ADD COLUMN lifetime INTEGER NOT NULL DEFAULT 0;
UPDATE message SET lifetime = expires - accepted;
)";

// One script a version: each brings the tables from the version before it to its own.
constexpr std::array<const char*, 2> kSteps{kTables, kAddLifetime};
constexpr std::int64_t kVersion = kSteps.size();

[[noreturn]] void refuse(const std::string& text) {
  throw StoreError(text, false);
}

[[noreturn]] void refuseWithErrno(const std::string& text) {
  const int error = errno;
  throw StoreError(text + ": " + std::strerror(error), error == ENOSPC);
}

// Looks at the file's header as it stands, since SQLite may write into a file that it opens.
void checkHeader(const std::string& file) {
  constexpr char kMagic[] = "SQLite format 3";
  std::array<unsigned char, 100> header{};
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t count = descriptor == -1 ? -1 : read(descriptor, header.data(), header.size());
  if (count == -1) {
    refuseWithErrno("cannot be read");
  }
  close(descriptor);
  if (static_cast<std::size_t>(count) < header.size() || std::memcmp(header.data(), kMagic, sizeof kMagic) != 0) {
    refuse("is damaged or no database");
  }
  std::uint32_t application = 0;
  std::memcpy(&application, &header[68], sizeof application);
  if (ntohl(application) != kApplicationId) {
    refuse("belongs to another program");
  }
}

std::int64_t versionOf(Database* database) {
  Rows rows = database->rows("PRAGMA user_version");
  rows.next();
  return rows.number(0);
}

void checkPages(Database* database) {
  Rows rows = database->rows("PRAGMA quick_check(1)");
  if (!rows.next() || rows.text(0) != "ok") {
    refuse("is damaged: " + rows.text(0));
  }
}

void bringUpToDate(Database* database) {
  for (std::int64_t version = versionOf(database); version < kVersion; ++version) {
    // The version is part of the transaction: a crash leaves a step done or not begun.
    database->script("BEGIN IMMEDIATE;" + std::string(kSteps.at(static_cast<std::size_t>(version))) +
                     "PRAGMA application_id = " + std::to_string(kApplicationId) +
                     "; PRAGMA user_version = " + std::to_string(version + 1) + "; COMMIT;");
  }
}

// A new database comes into being under another name, so that under its own it is whole or not there. Nobody but the
// service may read what people write to each other.
void makeFile(const std::string& file, int folder) {
  const std::string fresh = file + ".new";
  // Of a start that was interrupted.
  unlink(fresh.c_str());
  const int descriptor = open(fresh.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (descriptor == -1) {
    refuseWithErrno("cannot be made");
  }
  close(descriptor);
  {
    Database database(fresh);
    database.script(kSettings);
    bringUpToDate(&database);
  }
  // The folder's entry must be on the disk before anything is accepted into the file.
  if (rename(fresh.c_str(), file.c_str()) != 0 || fsync(folder) != 0) {
    refuseWithErrno("cannot be made");
  }
}

std::unique_ptr<Database> openFile(const std::string& file, int folder) {
  if (access(file.c_str(), F_OK) != 0) {
    makeFile(file, folder);
  }
  checkHeader(file);
  auto database = std::make_unique<Database>(file);
  if (database->isReadOnly()) {
    refuse("cannot be written");
  }
  database->script(kSettings);
  if (versionOf(database.get()) > kVersion) {
    refuse("was written by a newer version of this program");
  }
  checkPages(database.get());
  // Only now, for it writes into the file's header.
  database->script("PRAGMA journal_mode = WAL");
  bringUpToDate(database.get());
  database->checkpointOnClose(true);
  return database;
}

}  // namespace

StoreFolder::StoreFolder(const std::string& folder) : path(folder) {
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
    refuseWithErrno(path + ": cannot be made");
  }
  descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor == -1) {
    refuseWithErrno(path + ": cannot be opened");
  }
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    close(descriptor);
    throw StoreInUse(path + ": another service is using it");
  }
}

StoreFolder::~StoreFolder() {
  close(descriptor);
}

std::unique_ptr<Database> StoreFolder::openDatabase() const {
  const std::string file = path + "/outbox.db";
  try {
    return openFile(file, descriptor);
  } catch (const StoreInUse&) {
    throw StoreInUse(file + ": another program is using it");
  } catch (const StoreError& error) {
    throw StoreError(file + ": " + error.what(), error.isDiskFull());
  }
}

}  // namespace orvix::gateway
