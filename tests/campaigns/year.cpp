// Days of a plant in virtual time, 365 of them a year: 20,000 messages a month, hang-ups, a broker that is down, a
// clock that is set, summer time, a disk that is full. What the service holds and keeps must not grow.
#include <sqlite3.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>

#include "gateway/outbox/database.h"
#include "tests/campaigns/plant.h"

namespace {

namespace fs = std::filesystem;
using namespace campaign;

constexpr int kModems = 7;
constexpr int kMinutesADay = 1440;
constexpr int kMessagesADay = 658;
constexpr int kHangUpsADay = 3;
constexpr int kQuietDays = 2;  // at the end, until every message has ended
constexpr std::int64_t kMinuteMs = 60000;
constexpr int kGrownUpDays = 40;                  // then the oldest messages have gone
constexpr long kHistory = 600;                    // kB of each modem's signal, as the manual says
constexpr std::int64_t kStartMs = 1774602000000;  // 2026-03-27, 10:00, two nights before summer time
constexpr char kZone[] = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr int kHeartbeatMinute = 2 * 60 + 30;  // in the hour that one night leaves out and another has twice
constexpr int kMostLateMinutes = 60;

// SQLite's writes, counted or refused.
std::int64_t written = 0;
bool isDiskFull = false;
ssize_t countedWrite(int file, const void* bytes, size_t size, off64_t offset) {
  written += static_cast<std::int64_t>(size);
  errno = ENOSPC;
  return isDiskFull ? -1 : pwrite64(file, bytes, size, offset);
}

// The signal is kept for hours over a year, the rest of the database for its days.
const char* const kHoldings[] = {"kB of memory", "descriptors", "threads", "kB of history", "kB of database besides"};
using Footprint = std::array<long, std::size(kHoldings)>;

Footprint footprint(const std::string& storage) {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  // Of a copy of the database, whose pages have 1 kB: the service has locked its own.
  const world::TemporaryFolder copy;
  fs::copy(storage, copy.path());
  orvix::gateway::Database database(copy.file("outbox.db"));
  auto rows = database.rows(
      "SELECT (SELECT sum(pgsize) FROM dbstat WHERE name = 'report') / 1024, page_count FROM pragma_page_count");
  rows.next();
  return {pages * 4, std::distance(fs::directory_iterator("/proc/self/fd"), {}),
          std::distance(fs::directory_iterator("/proc/self/task"), {}), rows.as<long>(0),
          rows.as<long>(1) - rows.as<long>(0)};
}

std::tm localTime() {
  const auto seconds = static_cast<std::time_t>(world::ServiceTime::instance().wallMs / 1000);
  return *std::localtime(&seconds);
}
int minuteOf(const std::tm& time) {
  return time.tm_hour * 60 + time.tm_min;
}

orvix::gateway::Config settings(int days) {
  orvix::gateway::Config config;
  for (int i = 0; i < kModems; ++i) {
    config.modems.emplace_back().name = "m" + std::to_string(i);
  }
  config.storage.keepDays = std::clamp(days / 4, 1, config.storage.keepDays);
  config.heartbeat = {"+491701234567", kHeartbeatMinute};
  return config;
}

class Year {
 public:
  Year(int itsDays, unsigned seed) : days(itsDays), random(seed), plant(settings(days), days * kMessagesADay) {
    world::ServiceTime::instance().wallMs = kStartMs;
    plant.endOfAttempt = [this] { return endOfAttempt(); };
    plant.onChange = [this](const Message& message) { watch(message); };
  }

  Figures run() {
    Footprint grownUp{};
    for (int minute = 0; minute < days * kMinutesADay; ++minute) {
      const int day = minute / kMinutesADay;
      isDiskFull = minute % kMinutesADay / 60 == 9 && (day == days / 3 || day == days / 2);
      if (minute % kMinutesADay == 0) {
        dropDoubts();
        grownUp = day == std::min(kGrownUpDays, days / 2) ? footprint(plant.folder.path()) : grownUp;
        clockIsSetAt = minute + 14 * 60 + random.below(7 * 60);  // from midnight to seven
      }
      if (minute == clockIsSetAt) {
        setClock();
      }
      workModems(minute);
      submit(minute);
      plant.pass(kMinuteMs);
      if (minute % 600 >= 60) {
        drain();
      }
    }
    judge(grownUp, footprint(plant.folder.path()));
    return figures;
  }

 private:
  // Two in a hundred are refused for the moment, three in a thousand are in doubt.
  Plant::End endOfAttempt() {
    const int chance = random.below(1000);
    Plant::End end{{}, chance == 0 || chance >= 20};
    end.result.verdict = chance < 3 ? Verdict::kUncertain : chance < 20 ? Verdict::kRefused : Verdict::kSent;
    end.result.errorClass = orvix::hostkit::ErrorClass::kChance;
    return end;
  }

  void watch(const Message& message) {
    if (message.state == MessageState::kUncertain) {
      doubts.insert(message.id);
    }
    if (Plant::isHeartbeat(message.id) && heartbeats.insert(message.id).second) {
      char due[32];
      const std::tm now = localTime();
      std::strftime(due, sizeof due, "heartbeat-%F", &now);
      const int lateMinutes = minuteOf(now) - kHeartbeatMinute;
      figures.faults["heartbeats at a wrong time"] +=
          message.id != due || lateMinutes < 0 || lateMinutes > kMostLateMinutes ? 1 : 0;
    }
  }

  void dropDoubts() {
    for (const std::string& id : std::exchange(doubts, {})) {
      plant.service->resolve(caller, id, orvix::gateway::Outbox::Resolution::kDrop);
    }
  }

  // An hour forth, or back again, or not at all.
  void setClock() {
    const bool wasAhead = std::exchange(isAhead, random.below(2) == 0);
    const int before = minuteOf(localTime());
    world::ServiceTime::instance().wallMs += 60 * kMinuteMs * (int{isAhead} - int{wasAhead});
    figures.counts["clock steps"] += isAhead != wasAhead ? 1 : 0;
    // With the night of summer time it is two hours: more than a heartbeat waits.
    figures.counts["heartbeats left out"] +=
        isAhead && before < kHeartbeatMinute && minuteOf(localTime()) > kHeartbeatMinute + kMostLateMinutes ? 1 : 0;
  }

  void workModems(int minute) {
    for (std::size_t modem = 0; modem < kModems; ++modem) {
      if (random.below(kMinutesADay * kModems) < kHangUpsADay && backMinutes[modem] < minute) {
        ++figures.counts["hang-ups"];
        plant.hangUp(modem);
        backMinutes[modem] = minute + 2;
      } else if (backMinutes[modem] <= minute) {
        plant.worker(modem)->ready();
        plant.worker(modem)->report("home");
      }
    }
  }

  // What is refused, a full disk's 503, comes again.
  void submit(int minute) {
    for (; number < days * kMessagesADay && number * kMinutesADay < (minute + 1) * kMessagesADay; ++number) {
      orvix::gateway::Submission submission;
      submission.to = {"+49" + std::to_string(1000 + random.below(500))};
      if (plant.submit(number, caller, submission) != 202) {
        ++figures.counts["refused while the disk was full"];
        break;
      }
    }
  }

  // The broker's side: takes the notes that are there.
  void drain() {
    std::vector<std::int64_t> numbers;
    for (const auto& note : plant.service->announcements(0, 1000)) {
      numbers.push_back(note.number);
    }
    plant.service->dropAnnouncements(numbers);
    plant.service->settle();
  }

  void judge(const Footprint& grownUp, const Footprint& old) {
    auto& [counts, faults] = figures;
    drain();
    faults["notes left behind"] = static_cast<int>(plant.service->announcements(0, 1000).size());
    plant.pass(kMinuteMs * kMinutesADay * kQuietDays);
    plant.account(&figures);
    const auto due = static_cast<std::size_t>(days + kQuietDays - counts["heartbeats left out"]);
    faults["heartbeats missed or twice"] = heartbeats.size() != due ? 1 : 0;
    // Pages become less full until rows have come and gone for two months, by 4 %, and the numbers in ids and texts
    // grow longer, by 1 %.
    const Footprint most{grownUp[0] * 11 / 10, grownUp[1], grownUp[2], kModems * kHistory, grownUp[4] * 53 / 50};
    for (std::size_t i = 0; i < most.size(); ++i) {
      counts[kHoldings[i]] = static_cast<int>(old[i]);
      counts[std::string(kHoldings[i]) + " before"] = static_cast<int>(grownUp[i]);
      faults[std::string("grown ") + kHoldings[i]] = static_cast<int>(std::max(old[i] - most[i], 0L));
    }
    counts["days"] = days;
    counts["heartbeats"] = static_cast<int>(heartbeats.size());
    counts["MB written"] = static_cast<int>(written / 1000000);
  }

  const int days;
  Random random;
  Plant plant;
  Figures figures;
  const orvix::gateway::Caller caller{"mqtt", {{"*"}, 0, orvix::gateway::Priority::kAlarm, true}};
  std::set<std::string> doubts;
  std::set<std::string> heartbeats;
  int number = 0;
  std::array<int, kModems> backMinutes{};
  int clockIsSetAt = 0;
  bool isAhead = false;
};

}  // namespace

campaign::Figures campaign::run(int days, unsigned seed) {
  setenv("TZ", kZone, 1);
  sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
  vfs->xSetSystemCall(vfs, "pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(&countedWrite));
  return Year(days, seed).run();
}
