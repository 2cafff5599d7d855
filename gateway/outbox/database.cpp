#include "gateway/outbox/database.h"

#include <sqlite3.h>

#include <utility>

namespace orvix::gateway {
namespace {

// The only place that words SQLite's errors. What failed may have left half a group of changes: none of it stays.
[[noreturn]] void fail(sqlite3* database) {
  const int code = sqlite3_errcode(database);
  const bool isDamaged = code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
  // Taken before the rollback, which would put its own message in this one's place.
  const std::string text = std::string(isDamaged ? "is damaged: " : "database: ") + sqlite3_errmsg(database);
  if (sqlite3_get_autocommit(database) == 0) {
    sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  if (code == SQLITE_BUSY || code == SQLITE_LOCKED) {
    throw StoreInUse("database: in use by another service");
  }
  throw StoreError(text, code == SQLITE_FULL);
}

}  // namespace

Rows::Rows(Rows&& other) noexcept : database(other.database), statement(std::exchange(other.statement, nullptr)) {
}

Rows::~Rows() {
  // Kept for its next use; null after a move, which SQLite takes.
  sqlite3_reset(statement);
}

bool Rows::next() {
  const int result = sqlite3_step(statement);
  if (result != SQLITE_ROW && result != SQLITE_DONE) {
    // Nothing of the statement is pending then when the transaction is rolled back.
    sqlite3_reset(statement);
    fail(database);
  }
  return result == SQLITE_ROW;
}

std::int64_t Rows::number(int column) const {
  return sqlite3_column_int64(statement, column);
}

std::string Rows::text(int column) const {
  // By its length, since a text may hold a zero byte.
  const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
  return bytes == nullptr ? "" : std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

bool Rows::isNull(int column) const {
  return sqlite3_column_type(statement, column) == SQLITE_NULL;
}

Database::Database(const std::string& file) {
  // One thread uses the connection: SQLite needs no mutex.
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(file.c_str(), &database, flags, nullptr) != SQLITE_OK) {
    const std::string text = database == nullptr ? "out of memory" : sqlite3_errmsg(database);
    sqlite3_close(database);
    throw StoreError("database " + file + ": " + text, false);
  }
  checkpointOnClose(false);
}

Database::~Database() {
  for (const auto& [sql, statement] : statements) {
    sqlite3_finalize(statement);
  }
  sqlite3_close(database);
}

void Database::checkpointOnClose(bool isOn) {
  sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, isOn ? 0 : 1, nullptr);
}

bool Database::isReadOnly() const {
  return sqlite3_db_readonly(database, "main") == 1;
}

void Database::script(const std::string& sql) {
  if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    fail(database);
  }
}

std::int64_t Database::lastSequence() const {
  return sqlite3_last_insert_rowid(database);
}

bool Database::hasChanges() const {
  // SQLite commits each statement by itself as long as no transaction is open.
  return sqlite3_get_autocommit(database) == 0;
}

void Database::begin() {
  if (!hasChanges()) {
    run("BEGIN IMMEDIATE");
  }
}

void Database::commit() {
  if (hasChanges()) {
    run("COMMIT");
  }
}

void Database::rollback() noexcept {
  if (hasChanges()) {
    sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

sqlite3_stmt* Database::prepared(const char* sql) {
  // By the text's address, which a literal never changes.
  sqlite3_stmt*& statement = statements[sql];
  if (statement == nullptr &&
      sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
    fail(database);
  }
  return statement;
}

void Database::bind(sqlite3_stmt* statement, int place, std::int64_t value) {
  if (sqlite3_bind_int64(statement, place, value) != SQLITE_OK) {
    fail(database);
  }
}

void Database::bind(sqlite3_stmt* statement, int place, const std::string& value) {
  // SQLITE_TRANSIENT copies: the argument may be gone when the rows are read.
  if (sqlite3_bind_text(statement, place, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT) !=
      SQLITE_OK) {
    fail(database);
  }
}

void Database::bind(sqlite3_stmt* statement, int place, std::nullopt_t /*null*/) {
  if (sqlite3_bind_null(statement, place) != SQLITE_OK) {
    fail(database);
  }
}

}  // namespace orvix::gateway
