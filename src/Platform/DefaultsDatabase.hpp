// DefaultsDatabase: one SQLite connection to a suite's file, with the checks
// made at opening, the prepared statements of every operation, and the
// mapping between PropertyListValue kinds and SQLite columns.
//
// Table: defaults(key TEXT PRIMARY KEY, kind INTEGER NOT NULL, value), no
// rowid. `kind` is the PropertyListValue::Kind tag; `value` is a native
// column where one fits (TEXT for strings and URLs, INTEGER for Booleans and
// integers, REAL for floats, doubles and dates, BLOB for data) and a blob of
// DefaultsEncoding for arrays and dictionaries. A NaN, which SQLite would
// store as NULL, is kept as its IEEE bits in a blob of 4 or 8 bytes.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zorlan/Platform/PropertyListValue.hpp"

namespace zorlan::detail {

class DefaultsDatabase {
 public:
  // Opens (creating when missing) the database at `path`, or an in-memory
  // one when `path` is empty. Checks the file before anything is written to
  // it (PRAGMA quick_check), then sets WAL mode, synchronous=NORMAL and a
  // busy timeout, and creates the table. Throws DefaultsError naming the
  // file and the problem.
  explicit DefaultsDatabase(const std::filesystem::path& path);
  ~DefaultsDatabase();
  DefaultsDatabase(const DefaultsDatabase&) = delete;
  DefaultsDatabase& operator=(const DefaultsDatabase&) = delete;

  // Empties the table of the defaults database at `path` when the file
  // exists and holds one; does nothing otherwise. Throws DefaultsError for a
  // damaged file or a failed write. Never creates the file.
  static void clearFile(const std::filesystem::path& path);

  // Writes `value` under `key` in its own transaction. Throws DefaultsError
  // (std::invalid_argument for a value nested too deep), writing nothing.
  void upsert(std::string_view key, const PropertyListValue& value);
  // Removes `key`; returns whether a row was removed.
  bool remove(std::string_view key);
  // Removes every listed key in one transaction.
  void remove(const std::vector<std::string>& keys);
  // Removes every row.
  void clear();

  // Calls `row` with each key and its value (absent for a row that cannot
  // be read), all from one snapshot. Throws DefaultsError.
  void readAll(
      const std::function<void(std::string_view key, std::optional<PropertyListValue> value)>& row);
  // The connection's data version (PRAGMA data_version): it changes when
  // another connection commits. Throws DefaultsError.
  std::int64_t dataVersion();

 private:
  [[noreturn]] void fail(std::string_view doing) const;
  void exec(const char* sql);
  sqlite3_stmt* prepare(const char* sql);
  void bindValue(sqlite3_stmt* statement, int index, const PropertyListValue& value);
  void transaction(const std::function<void()>& body);

  std::filesystem::path path_;
  sqlite3* db_ = nullptr;
  sqlite3_stmt* upsert_ = nullptr;
  sqlite3_stmt* remove_ = nullptr;
  sqlite3_stmt* clear_ = nullptr;
  sqlite3_stmt* selectAll_ = nullptr;
  sqlite3_stmt* dataVersion_ = nullptr;
  sqlite3_stmt* begin_ = nullptr;
  sqlite3_stmt* commit_ = nullptr;
  sqlite3_stmt* rollback_ = nullptr;
  std::vector<std::uint8_t> scratch_;  // the last container blob written
};

// Reads one row's columns back into a value; absent when they do not fit
// the kind.
std::optional<PropertyListValue> readColumn(std::int64_t kind, sqlite3_stmt* statement, int column);

}  // namespace zorlan::detail
