// Days of a plant in virtual time, 365 of them a year: 20,000 messages a month, hang-ups, a broker that is down, clocks
// that are set, a disk that is full. What the service holds and keeps must not grow.
#include <sqlite3.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>

#include "tests/campaigns/plant.h"

namespace {

using orvix::gateway::Caller;
using orvix::gateway::Priority;

constexpr int kModems = 7;
constexpr int kMinutesADay = 1440;
constexpr int kMessagesADay = 658;
constexpr int kHangUpsADay = 3;
constexpr std::int64_t kMinuteMs = 60000;
constexpr int kGrownUpDays = 40;  // then the oldest messages have gone
constexpr long kHourlyMean = 60;  // bytes of a modem's signal, kept for a year

// SQLite's writes, counted or refused.
std::int64_t written = 0;
bool isDiskFull = false;
ssize_t countedWrite(int file, const void* bytes, size_t size, off64_t offset) {
  written += static_cast<std::int64_t>(size);
  errno = ENOSPC;
  return isDiskFull ? -1 : pwrite64(file, bytes, size, offset);
}

// Pages of memory, descriptors, threads, bytes of the database.
std::array<long, 4> footprint(const std::string& database) {
  std::array<long, 4> found{};
  std::ifstream("/proc/self/statm") >> found[0] >> found[0];
  found[1] = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  found[2] = std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  found[3] = static_cast<long>(std::filesystem::file_size(database));
  return found;
}

orvix::gateway::Config settings() {
  orvix::gateway::Config config;
  for (int i = 0; i < kModems; ++i) {
    config.modems.emplace_back().name = "m" + std::to_string(i);
  }
  return config;
}

// The broker's side: takes the notes that are there.
void drain(orvix::gateway::Service* service) {
  std::vector<std::int64_t> numbers;
  for (const auto& note : service->announcements(0, 1000)) {
    numbers.push_back(note.number);
  }
  service->dropAnnouncements(numbers);
}

}  // namespace

campaign::Figures campaign::run(int days, unsigned seed) {
  Figures figures;
  auto& [counts, faults] = figures;
  Random random(seed);
  sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
  vfs->xSetSystemCall(vfs, "pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(&countedWrite));
  Plant plant(settings(), days * kMessagesADay);
  plant.endOfAttempt = [&random] {
    const int chance = random.below(1000);
    return chance >= 20 ? Plant::End{{Verdict::kSent, 1, {}, {}, true, "", ""}, true}
           : chance < 3
               ? Plant::End{{Verdict::kUncertain, {}, {}, {}, true, "silence", ""}, chance == 0}
               : Plant::End{{Verdict::kRefused, {}, 38, orvix::hostkit::ErrorClass::kChance, true, "", ""}, false};
  };
  std::set<std::string> doubts;
  plant.onChange = [&](const Message& message) {
    if (message.state == MessageState::kUncertain) {
      doubts.insert(message.id);
    }
  };
  const Caller callers[] = {{"socket", {{"*"}, 0, Priority::kAlarm, true}},
                            {"mqtt", {{"*"}, 0, Priority::kAlarm, false}}};
  std::array<long, 4> grownUp{};
  int number = 0;
  std::vector<int> backMinutes(kModems, -1);
  for (int minute = 0; minute < days * kMinutesADay; ++minute) {
    const int day = minute / kMinutesADay;
    isDiskFull = minute % kMinutesADay < 60 && (day == days / 3 || day == days / 2);
    if (minute % kMinutesADay == 0) {
      const std::int64_t stepsMs[] = {0, 60 * kMinuteMs, -60 * kMinuteMs};
      world::ServiceTime::instance().wallMs += stepsMs[day % 3];
      for (const std::string& id : std::exchange(doubts, {})) {
        plant.service->resolve(callers[0], id, orvix::gateway::Outbox::Resolution::kDrop);
      }
    }
    for (std::size_t modem = 0; modem < kModems; ++modem) {
      if (random.below(kMinutesADay * kModems) < kHangUpsADay && backMinutes[modem] < minute) {
        ++counts["hang-ups"];
        plant.hangUp(modem);
        backMinutes[modem] = minute + 2;
      } else if (backMinutes[modem] <= minute) {
        plant.worker(modem)->ready();
        plant.worker(modem)->report("home");
      }
    }
    // What is refused, a full disk's 503, comes again.
    for (; number < days * kMessagesADay && number * kMinutesADay < (minute + 1) * kMessagesADay; ++number) {
      orvix::gateway::Submission submission;
      submission.to = {"+49" + std::to_string(1000 + random.below(500))};
      if (plant.submit(number, callers[number % 2], submission) != 202) {
        ++counts["refused while the disk was full"];
        break;
      }
    }
    plant.pass(kMinuteMs);
    if (minute % 600 >= 60) {
      drain(&*plant.service);
    }
    grownUp = day == std::min(kGrownUpDays, days / 2) ? footprint(plant.database()) : grownUp;
  }
  plant.pass(2 * kMinutesADay * kMinuteMs);
  plant.account(&figures);
  const std::array<long, 4> old = footprint(plant.database());
  faults["grown memory"] = old[0] > grownUp[0] * 11 / 10 ? 1 : 0;
  faults["grown descriptors or threads"] = old[1] > grownUp[1] || old[2] > grownUp[2] ? 1 : 0;
  const long hours = std::max(days - kGrownUpDays, 0) * 24 * kModems;
  faults["grown database"] = days > 2 * kGrownUpDays && old[3] > grownUp[3] * 11 / 10 + hours * kHourlyMean ? 1 : 0;
  counts["days"] = days;
  counts["kB of memory"] = static_cast<int>(old[0] * 4);
  counts["kB of database"] = static_cast<int>(old[3] / 1024);
  counts["MB written"] = static_cast<int>(written / 1000000);
  return figures;
}
