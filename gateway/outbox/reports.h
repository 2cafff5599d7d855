// The modems' measurements over time, thinned with age: each for a day, means of 5 minutes for 30 days, of an hour for
// a year. Internal. One thread.
//
// Every measurement is written into all three levels at once, so that thinning is nothing but deleting old rows.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "gateway/outbox/database.h"
#include "gateway/outbox/outbox.h"

namespace orvix::gateway {

class Reports {
 public:
  explicit Reports(Database* outbox) : database(outbox) {}

  // dBm: none where the modem did not know it. Throws nothing: it only waits in memory.
  // dBm as the plug-in's report has it, -109 to -51. One that follows another of the modem within half a second is left
  // out.
  void add(const std::string& modem, std::optional<int> dBm, bool isRegistered, std::int64_t nowMs);
  // Whether what was added has waited long enough for its write.
  bool areDue() const;
  // Joins the open transaction, and takes away what has been kept long enough. What cannot be written is given up, so
  // that a full disk fills no memory.
  // Throws StoreError. To be called within the round that is committed next.
  void write();

  // As Outbox tells it; what still waits for its write is seen as well. `nowMs` decides which level tells of what time.
  std::vector<HistoryPoint> history(const std::string& modem, std::int64_t fromMs, std::int64_t toMs, int points,
                                    std::int64_t nowMs);

 private:
  // Of one report, until it is written.
  struct Measurement {
    std::string modem;
    std::int64_t timeMs;
    std::optional<int> dBm;
    bool isRegistered;
  };

  // A bounded number of rows of each modem and level.
  void purge(std::int64_t nowMs);

  Database* const database;
  std::vector<Measurement> waiting;            // oldest first
  std::map<std::string, std::int64_t> lastMs;  // of each modem
};

}  // namespace orvix::gateway
