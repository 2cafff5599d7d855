// SQLite as this room uses it: statements that are prepared once and kept, errors as StoreError, one open transaction.
// Internal. One thread.
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

// The rows that a statement yields. While one of them is alive, the same piece of SQL must not be used again.
class Rows {
 public:
  Rows(sqlite3* connection, sqlite3_stmt* prepared) : database(connection), statement(prepared) {}
  ~Rows();
  Rows(Rows&& other) noexcept;
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  bool next();  // to the first row, to the next one; false behind the last

  std::int64_t number(int column) const;
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

class Database {
 public:
  // Opens the file for reading and writing, and makes it when it is not there. Takes no lock yet.
  explicit Database(const std::string& file);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Whether closing brings the log into the file. Off from the start: a file that is refused stays as it is.
  void checkpointOnClose(bool isOn);
  bool isReadOnly() const;

  // Several statements without arguments or rows.
  void script(const std::string& sql);

  // A query. Statements are kept by the address of their text: literals only. Arguments fill the places in order.
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

  // A statement that is to become durable: joins the open transaction or begins it.
  template <std::size_t kSize, typename... Arguments>
  void change(const char (&sql)[kSize], const Arguments&... arguments) {
    begin();
    run(sql, arguments...);
  }

  std::int64_t lastSequence() const;  // key of the row inserted last
  bool hasChanges() const;            // a transaction is open
  void commit();
  void rollback() noexcept;

 private:
  void begin();
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
  std::map<const char*, sqlite3_stmt*> statements;
};

}  // namespace orvix::gateway
