#include "gateway/outbox/reports.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/duration.h"

namespace orvix::gateway {
namespace {

// A write every few seconds would wear the flash; what a crash loses is 5 minutes of a curve.
constexpr std::int64_t kWritesApartMs = 5 * kMinuteMs;
constexpr int kMostReadAtOnce = 2000;
// Honest workers keep a second and more apart; one that never stops must fill neither memory nor disk.
constexpr std::int64_t kLeastApartMs = kSecondMs / 2;

// How much time a row of the level stands for, and how long it is kept.
struct Level {
  std::int64_t widthMs;
  std::int64_t keptMs;
};
constexpr std::array<Level, 3> kLevels{{{1, kDayMs}, {5 * kMinuteMs, 30 * kDayMs}, {kHourMs, 365 * kDayMs}}};

// From when on a level tells of the past; what is older, the next one tells, whose rows are whole up to here.
std::int64_t beginOf(std::size_t level, std::int64_t nowMs) {
  const std::int64_t begin = nowMs - kLevels.at(level).keptMs;
  return begin - begin % kLevels.at(std::min(level + 1, kLevels.size() - 1)).widthMs;
}

struct Sample {
  std::int64_t timeMs;
  std::int64_t count;
  std::int64_t sum;
  std::optional<int> least;
  std::optional<int> most;
  bool isRegistered;
};

// A point of the answer as it grows.
struct Bucket {
  HistoryPoint point;
  std::int64_t count = 0;
  std::int64_t sum = 0;

  explicit Bucket(std::int64_t timeMs) : point{timeMs, std::nullopt, std::nullopt, std::nullopt, true} {}

  void add(const Sample& sample) {
    point.isRegistered = point.isRegistered && sample.isRegistered;
    if (sample.count != 0) {
      point.minDbm = std::min(point.minDbm.value_or(*sample.least), *sample.least);
      point.maxDbm = std::max(point.maxDbm.value_or(*sample.most), *sample.most);
      count += sample.count;
      sum += sample.sum;
      point.meanDbm = static_cast<double>(sum) / static_cast<double>(count);
    }
  }
};

}  // namespace

void Reports::add(const std::string& modem, std::optional<int> dBm, bool isRegistered, std::int64_t nowMs) {
  const auto [last, isFirst] = lastMs.try_emplace(modem, nowMs);
  if (isFirst || nowMs - last->second >= kLeastApartMs) {
    last->second = nowMs;
    waiting.push_back({modem, nowMs, dBm, isRegistered});
  }
}

bool Reports::areDue() const {
  return !waiting.empty() && waiting.back().timeMs - waiting.front().timeMs >= kWritesApartMs;
}

void Reports::write() {
  // Taken out first: what cannot be written is given up.
  const std::vector<Measurement> measurements = std::exchange(waiting, {});
  for (const Measurement& measurement : measurements) {
    for (std::size_t level = 0; level < kLevels.size(); ++level) {
      const std::int64_t timeMs = measurement.timeMs - measurement.timeMs % kLevels.at(level).widthMs;
      database->change(
          // A row grows with each measurement of its time, so that all levels are right at every moment.
          "INSERT INTO report VALUES(?1, ?2, ?3, ?4, coalesce(?5, 0), ?5, ?5, ?6) ON CONFLICT DO UPDATE SET"
          " count = count + excluded.count, sum = sum + excluded.sum,"
          " least = coalesce(min(least, excluded.least), least, excluded.least),"
          " most = coalesce(max(most, excluded.most), most, excluded.most),"
          " is_registered = min(is_registered, excluded.is_registered)",
          measurement.modem, level, timeMs, measurement.dBm.has_value(), measurement.dBm, measurement.isRegistered);
    }
  }
  purge(measurements.back().timeMs);
}

// Of every modem that there ever was.
void Reports::purge(std::int64_t nowMs) {
  // From name to name along the key: a modem that was taken out of the configuration has rows as well.
  std::string modem;
  while (true) {
    {
      Rows rows = database->rows("SELECT min(modem) FROM report WHERE modem > ?", modem);
      if (!rows.next() || rows.isNull(0)) {
        return;
      }
      modem = rows.text(0);
    }
    for (std::size_t level = 0; level < kLevels.size(); ++level) {
      database->change(
          "DELETE FROM report WHERE modem = ?1 AND level = ?2 AND time IN (SELECT time FROM report WHERE modem = ?1"
          " AND level = ?2 AND time < ?3 ORDER BY time LIMIT ?4)",
          modem, level, beginOf(level, nowMs), kMostReadAtOnce);
    }
  }
}

std::vector<HistoryPoint> Reports::history(const std::string& modem, std::int64_t fromMs, std::int64_t toMs, int points,
                                           std::int64_t nowMs) {
  std::vector<Bucket> buckets;
  std::int64_t last = -1;
  const auto add = [&](const Sample& sample) {
    if (sample.timeMs < fromMs || sample.timeMs > toMs) {
      return;
    }
    // + 1, since both ends belong to the stretch. Rows come in order, so a new index begins a new point.
    const std::int64_t index = (sample.timeMs - fromMs) * points / (toMs - fromMs + 1);
    if (index != std::exchange(last, index)) {
      buckets.emplace_back(sample.timeMs);
    }
    buckets.back().add(sample);
  };
  // The coarse ones tell of the oldest time and come first.
  for (std::size_t level = kLevels.size(); level-- > 0;) {
    const std::int64_t endMs = level == 0 ? toMs + 1 : std::min(toMs + 1, beginOf(level - 1, nowMs));
    Rows rows = database->rows(
        "SELECT time, count, sum, least, most, is_registered FROM report WHERE modem = ? AND level = ? AND time >= ?"
        " AND time < ? ORDER BY time",
        modem, level, std::max(fromMs, beginOf(level, nowMs)), endMs);
    while (rows.next()) {
      add({rows.number(0), rows.number(1), rows.number(2), rows.optional<int>(3), rows.optional<int>(4),
           rows.number(5) != 0});
    }
  }
  // The newest, which no level holds yet.
  for (const Measurement& measurement : waiting) {
    if (measurement.modem == modem) {
      add({measurement.timeMs, measurement.dBm.has_value() ? 1 : 0, measurement.dBm.value_or(0), measurement.dBm,
           measurement.dBm, measurement.isRegistered});
    }
  }
  std::vector<HistoryPoint> found;
  std::transform(buckets.begin(), buckets.end(), std::back_inserter(found),
                 [](const Bucket& bucket) { return bucket.point; });
  return found;
}

}  // namespace orvix::gateway
