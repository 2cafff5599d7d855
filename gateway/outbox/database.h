// SQLite as this room uses it: statements that are prepared once and kept, errors as StoreError, one open transaction.
// The only header that knows of SQLite. Internal. One thread.
//
// A failed statement rolls the open transaction back before it throws, so that no half of a group of changes can be
// committed later. Numbers are 64 bits wide, enumerations stand as their numbers, a bool as 0 or 1.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "gateway/outbox/storeError.h"

struct sqlite3;
struct sqlite3_stmt;

namespace orvix::gateway {

// The rows that a statement yields, one at a time. While one of these is alive, the same piece of SQL must not be used
// again; that is why the callers close a loop in braces before they write.
// Made by Database::rows alone, and moved at most. The caller's arguments are bound: a value never becomes part of SQL.
class Rows {
 public:
  Rows(sqlite3* connection, sqlite3_stmt* prepared) : database(connection), statement(prepared) {}
  ~Rows();
  Rows(Rows&& other) noexcept;
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  // To the first row, then to the next one; false after the last. Throws StoreError.
  // Not to be called again after the last row, where SQLite would begin anew.
  bool next();

  // Columns count from 0, in the order of the SELECT. A NULL reads as 0 or "".
  std::int64_t number(int column) const;
  // A copy of the column's bytes, zero bytes included.
  std::string text(int column) const;
  bool isNull(int column) const;
  template <typename Value>
  Value as(int column) const {
    return static_cast<Value>(number(column));
  }
  // None for NULL.
  template <typename Value = std::int64_t>
  std::optional<Value> optional(int column) const {
    return isNull(column) ? std::nullopt : std::optional<Value>(as<Value>(column));
  }

 private:
  sqlite3* database;
  sqlite3_stmt* statement;
};

// One connection to one file, and the statements that were prepared on it. No Rows may outlive it.
class Database {
 public:
  // Opens the file for reading and writing, and makes it when it is not there. Takes no lock yet: the first statement
  // that reads or writes does. Throws StoreError.
  explicit Database(const std::string& file);
  // Rolls back what was not committed.
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Whether closing brings the write-ahead log into the file. Off from the start: a file that is refused stays as it
  // is, byte for byte.
  void checkpointOnClose(bool isOn);
  // Whether the file system lets the file only be read: SQLite opens it even so.
  bool isReadOnly() const;

  // Several statements without arguments or rows, each on its own unless the script begins a transaction itself.
  // Throws StoreError; what ran before the statement that failed stays, but for an open transaction, which is rolled
  // back.
  void script(const std::string& sql);

  // A query. Statements are kept by the address of their text, so only literals will do, which the parameter's type
  // requires. Arguments fill the places (?1, ?2 or ?) in order; texts are copied. Throws StoreError.
  template <std::size_t kSize, typename... Arguments>
  Rows rows(const char (&sql)[kSize], const Arguments&... arguments) {
    sqlite3_stmt* const statement = prepared(sql);
    int place = 0;
    (bind(statement, ++place, arguments), ...);
    return {database, statement};
  }

  // A statement without rows; of a temporary table, or within a transaction.
  template <std::size_t kSize, typename... Arguments>
  void run(const char (&sql)[kSize], const Arguments&... arguments) {
    rows(sql, arguments...).next();
  }

  // A statement that is to become durable: joins the open transaction or begins it. It is on the disk after commit().
  template <std::size_t kSize, typename... Arguments>
  void change(const char (&sql)[kSize], const Arguments&... arguments) {
    begin();
    run(sql, arguments...);
  }

  // Key of the row that was inserted last.
  // Of whatever table it was, temporary ones included: to be asked at once.
  std::int64_t lastSequence() const;
  // Whether a transaction is open, and so something to be committed.
  bool hasChanges() const;
  // Does nothing when there is nothing to commit. Throws StoreError, with the transaction rolled back.
  void commit();
  // What was changed since the last commit never happened, in temporary tables as well.
  // Safe to call when nothing is open.
  void rollback() noexcept;

 private:
  // Takes the write lock at once (BEGIN IMMEDIATE), not in the middle of a group of changes.
  void begin();
  // From the map, or prepared and kept there.
  sqlite3_stmt* prepared(const char* sql);
  void bind(sqlite3_stmt* statement, int place, std::int64_t value);
  void bind(sqlite3_stmt* statement, int place, const std::string& value);
  void bind(sqlite3_stmt* statement, int place, std::nullopt_t);
  template <typename Value>
  void bind(sqlite3_stmt* statement, int place, const Value& value) {
    bind(statement, place, static_cast<std::int64_t>(value));
  }
  template <typename Value>
  void bind(sqlite3_stmt* statement, int place, const std::optional<Value>& value) {
    if (value) {
      bind(statement, place, *value);
    } else {
      bind(statement, place, std::nullopt);
    }
  }

  sqlite3* database = nullptr;
  // By the address of their text; finalised with the connection.
  std::map<const char*, sqlite3_stmt*> statements;
};

}  // namespace orvix::gateway
