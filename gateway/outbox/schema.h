// The database's file: its tables, and what is refused before a byte of it is touched. Internal. One thread.
//
// docs/reliability.md tells what a start finds on the disk and makes of it.
#pragma once

#include <memory>
#include <string>

#include "gateway/outbox/database.h"

namespace orvix::gateway {

// The folder, locked against every other service as long as this lives. Made when it is missing, but not its parents.
// Throws StoreError and StoreInUse as the constructor of Outbox does.
class StoreFolder {
 public:
  // A folder that it makes has mode 0700.
  explicit StoreFolder(const std::string& folder);
  ~StoreFolder();
  StoreFolder(const StoreFolder&) = delete;
  StoreFolder& operator=(const StoreFolder&) = delete;

  // Opens or makes outbox.db in it, mode 0600, and brings the tables of an older version up to date. Throws as above,
  // with the file's path.
  // Checked in this order, before anything is written: the header (SQLite's, and our application id), rights, version,
  // and the structure of all pages (quick_check). Settings: WAL, synchronous FULL, locked exclusively, foreign keys.
  std::unique_ptr<Database> openDatabase() const;

 private:
  const std::string path;
  // The lock is the descriptor's: it goes with the process, however that ends.
  int descriptor = -1;
};

}  // namespace orvix::gateway
