// The outbox's file: every state in which a start can find it, failing disks, and that it is not written without need.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <tuple>
#include <vector>

#include "tests/world/outboxRoom.h"

namespace orvix::gateway {
namespace {

namespace fs = std::filesystem;

// Lets SQLite's Nth write (a full disk) or synchronisation (a failing one) fail, and every one behind it until the
// fault is mended.
class DiskFault {
 public:
  DiskFault(bool isFull, int count) {
    writesLeft = isFull ? count : kNever;
    syncsLeft = isFull ? kNever : count;
    replaceWrites(reinterpret_cast<sqlite3_syscall_ptr>(&failingWrite));
  }
  ~DiskFault() {
    replaceWrites(nullptr);
    writesLeft = syncsLeft = kNever;
  }
  DiskFault(const DiskFault&) = delete;
  DiskFault& operator=(const DiskFault&) = delete;

  static bool hasFired() { return writesLeft < 0 || syncsLeft < 0; }
  static bool isSyncFailing() { return syncsLeft < kNever && --syncsLeft < 0; }

 private:
  static constexpr int kNever = INT_MAX;

  static ssize_t failingWrite(int file, const void* bytes, size_t size, off64_t offset) {
    if (writesLeft < kNever && --writesLeft < 0) {
      errno = ENOSPC;
      return -1;
    }
    return pwrite64(file, bytes, size, offset);
  }
  static void replaceWrites(sqlite3_syscall_ptr function) {
    sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
    vfs->xSetSystemCall(vfs, "pwrite", function);
    vfs->xSetSystemCall(vfs, "pwrite64", function);
  }

  static inline int writesLeft = kNever;
  static inline int syncsLeft = kNever;
};

class OutboxFileTest : public OutboxRoom {
 protected:
  std::string file() const { return storage.folder + "/outbox.db"; }

  // All files of the folder with their bytes.
  std::map<std::string, std::string> bytes() const {
    std::map<std::string, std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(storage.folder)) {
      found[entry.path().filename()] = world::readText(entry.path());
    }
    return found;
  }

  // Goes on with the folder as it stands, as if the process had ended here without a word.
  void dieAndStart() {
    const std::string copy = storage.folder + "+";
    fs::copy(storage.folder, copy);
    outbox.reset();
    storage.folder = copy;
    open();
  }

  void sql(const char* text) const {
    sqlite3* database = nullptr;
    sqlite3_open(file().c_str(), &database);
    EXPECT_EQ(sqlite3_exec(database, text, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  }

  // Why the outbox does not open; "" when it does.
  std::string refusal() {
    try {
      open();
      return "";
    } catch (const StoreError& error) {
      return std::string(error.what()).substr(storage.folder.size());
    }
  }
};

TEST_F(OutboxFileTest, AStartGoesOnFromWhatWasCommitted) {
  open();
  const std::string queued = accept("+491");
  const std::string before = accept("+492");
  const std::string behind = accept("+493");
  NewMessage made = message("+494");
  made.onUncertain = OnUncertain::kResend;
  const std::string again = accept(made);
  for (const std::string& id : {before, behind, again}) {
    outbox->beginAttempt(id, "modem " + id, now);
  }
  outbox->markMayBeOut(behind);
  outbox->markMayBeOut(again);
  outbox->setTime(now + 5, 77);
  outbox->commit();
  outbox->cancel(queued, now);  // not committed: never was
  dieAndStart();
  EXPECT_EQ(outbox->storedTimeMs(), now + 5);
  EXPECT_EQ(outbox->storedOffsetMs(), 77);
  EXPECT_EQ(outbox->recover(now), (std::vector<std::string>{"modem m2", "modem m3", "modem m4"}));
  outbox->commit();
  dieAndStart();
  EXPECT_TRUE(outbox->recover(now).empty());
  EXPECT_EQ(next(), queued);
  EXPECT_EQ(stateOf(before), MessageState::kQueued);
  EXPECT_EQ(outbox->find(before)->attempts.at(0).verdict, hostkit::Verdict::kNotSent);
  EXPECT_EQ(stateOf(behind), MessageState::kUncertain);
  EXPECT_EQ(stateOf(again), MessageState::kQueued);
  EXPECT_EQ(outbox->find(again)->attempts.at(0).verdict, hostkit::Verdict::kUncertain);
}

TEST_F(OutboxFileTest, AnOlderFileIsBroughtUpToDate) {
  open();
  const std::string id = accept("+491");
  outbox->commit();
  outbox.reset();
  sql("ALTER TABLE message DROP COLUMN lifetime; PRAGMA user_version = 1");
  open();
  attempt(id, uncertain());
  now += kHour;
  EXPECT_EQ(outbox->resolve(id, Outbox::Resolution::kResend, now)->expiresMs, now + kDay);
}

TEST_F(OutboxFileTest, WhatIsRefusedStaysAsItIs) {
  const auto overwrite = [this](std::streamoff begin, std::size_t size) {
    std::fstream stream(file(), std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(begin);
    stream << std::string(size, '\x5a');
  };
  const std::tuple<const char*, std::function<void()>, std::string> rows[] = {
      {"not a database", [&] { std::ofstream(file()) << "hello"; }, "/outbox.db: is damaged or no database"},
      {"empty", [&] { fs::resize_file(file(), 0); }, "/outbox.db: is damaged or no database"},
      {"cut off", [&] { fs::resize_file(file(), 8192); }, "/outbox.db: is damaged"},
      {"overwritten header", [&] { overwrite(0, 100); }, "/outbox.db: is damaged or no database"},
      {"overwritten pages", [&] { overwrite(16384, 30000); }, "/outbox.db: is damaged"},
      {"foreign", [&] { sql("PRAGMA application_id = 1"); }, "/outbox.db: belongs to another program"},
      {"newer", [&] { sql("PRAGMA user_version = 1000"); },
       "/outbox.db: was written by a newer version of this program"},
  };
  for (const auto& [name, spoil, words] : rows) {
    open();
    accept("+491");
    outbox->commit();
    outbox.reset();
    spoil();
    const std::string before = bytes().at("outbox.db");
    EXPECT_EQ(refusal().substr(0, words.size()), words) << name;
    EXPECT_EQ(bytes().at("outbox.db"), before) << name;
    outbox.reset();
    fs::remove_all(storage.folder);
  }
}

TEST_F(OutboxFileTest, WhatCannotBeWrittenIsRefused) {
  open();
  accept("+491");
  outbox->commit();
  outbox.reset();
  const auto before = bytes();
  chmod(root.path().c_str(), 0755);
  chmod(storage.folder.c_str(), 0755);
  chmod(file().c_str(), 0444);
  const uid_t user = geteuid();
  const bool isRoot = user == 0 && seteuid(65534) == 0;  // whom modes do not bind
  EXPECT_EQ(refusal(), "/outbox.db: cannot be written");
  storage.folder += "/none";
  EXPECT_EQ(refusal(), ": cannot be made: Permission denied");
  ASSERT_EQ(isRoot ? seteuid(user) : 0, 0);
  storage.folder = root.file("store");
  EXPECT_EQ(bytes(), before);
}

TEST_F(OutboxFileTest, NobodyElseMayReadIt) {
  open();
  struct stat mode {};
  for (const auto& [name, content] : bytes()) {
    stat((storage.folder + "/" + name).c_str(), &mode);
    EXPECT_EQ(mode.st_mode & 0777U, 0600U) << name;
  }
}

// A day in the life of a service, with each of its writes and synchronisations failing in turn: what was committed
// stays, what was not is void, and it goes on as soon as there is room.
TEST_F(OutboxFileTest, AFailingDiskLosesNothingThatWasPromised) {
  for (const bool isFull : {true, false}) {
    bool hasFired = true;
    int faults = 0;
    for (int count = 0; hasFired; count += isFull ? 2 : 1) {
      accepted = 0;
      const std::function<void()> steps[] = {
          [this] { accept("+491"); },
          [this] { outbox->beginAttempt("m1", "main", now); },
          [this] { outbox->markMayBeOut("m1"); },
          [this] {
            AttemptEnd end = sent();
            end.recording = std::string(6000, 'r');
            outbox->endAttempt("m1", end, now);
          },
          [this] { accept("+492"); },
          [this] { outbox->purge(now += 31 * kDay); },
      };
      std::size_t done = 0;
      {
        const DiskFault fault(isFull, count);
        try {
          open();
          for (; done < std::size(steps); ++done) {
            steps[done]();
            outbox->commit();
          }
        } catch (const StoreError& error) {
          EXPECT_EQ(error.isDiskFull(), isFull) << error.what();
          ++faults;
        }
        hasFired = DiskFault::hasFired();
      }
      if (outbox && count % 2 == 0) {
        outbox->rollback();
      } else {
        open();
      }
      ASSERT_EQ(outbox->check(), "") << count;
      accepted = done > 4 ? 2 : done > 0 ? 1 : 0;
      for (; done < std::size(steps); ++done) {
        steps[done]();
        outbox->commit();
      }
      EXPECT_FALSE(outbox->find("m1")) << count;
      EXPECT_EQ(stateOf("m2"), MessageState::kQueued) << count;
      outbox.reset();
      fs::remove_all(storage.folder);
    }

    EXPECT_GT(faults, 10);
  }
}

TEST_F(OutboxFileTest, NothingIsWrittenWhileNothingHappens) {
  sending.perRecipient = {1, 60};
  open();
  attempt(accept("+491"), sent());
  accept("+491");
  attempt(accept("+492"), notSent());
  outbox->commit();
  const auto before = bytes();
  for (int minute = 0; minute < 120; ++minute) {
    now += 60 * kSecond;
    outbox->setTime(now, minute);
    outbox->expire(now);
    outbox->purge(now);
    EXPECT_NE(next(), "");
    outbox->nextChangeMs(now);
    outbox->counts();
    outbox->commit();
  }
  EXPECT_EQ(bytes(), before);
}

}  // namespace
}  // namespace orvix::gateway

// SQLite calls this one itself; the library takes it from the program.
extern "C" __attribute__((visibility("default"))) int fdatasync(int file) {
  if (orvix::gateway::DiskFault::isSyncFailing()) {
    errno = EIO;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fdatasync, file));
}
