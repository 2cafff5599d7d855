// The database's file: its tables, and what is refused before a byte of it is touched. Internal. One thread.
#pragma once

#include <memory>
#include <string>

#include "gateway/outbox/database.h"

namespace orvix::gateway {

// Opens or makes outbox.db in the folder (made as well, but not its parents), locked against every other process until
// it is closed. Throws StoreError and StoreInUse as the constructor of Outbox does.
std::unique_ptr<Database> openDatabase(const std::string& folder);

}  // namespace orvix::gateway
