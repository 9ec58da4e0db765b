// Helpers of the defaults database tests: a scratch folder per test and a
// raw SQLite connection that plays another process writing the same file.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "zorlan/Platform/PropertyListValue.hpp"

namespace zorlan {

// Failure messages show values as the library describes them.
inline void PrintTo(const PropertyListValue& value, std::ostream* out) {
  *out << value.debugDescription();
}

}  // namespace zorlan

namespace zorlan::testing {

// A fresh folder named after the running test, removed afterwards.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = std::filesystem::temp_directory_path() /
            ("zorlan-defaults-" + std::to_string(::getpid()) + "-" + test->test_suite_name() + "-" +
             test->name());
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline std::vector<char> fileBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A connection of its own to a database file, as another process has.
class RawDatabase {
 public:
  explicit RawDatabase(const std::filesystem::path& path, int flags = SQLITE_OPEN_READWRITE) {
    if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
      ADD_FAILURE() << "cannot open " << path << ": " << sqlite3_errmsg(db_);
    }
    sqlite3_busy_timeout(db_, 5000);
  }
  ~RawDatabase() { sqlite3_close_v2(db_); }
  RawDatabase(const RawDatabase&) = delete;
  RawDatabase& operator=(const RawDatabase&) = delete;

  // Runs `sql`, binding `blob` (when given) to ?1.
  void exec(const std::string& sql, const std::vector<unsigned char>* blob = nullptr) {
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sql << ": " << sqlite3_errmsg(db_);
    if (blob != nullptr) {
      sqlite3_bind_blob(statement, 1, blob->data(), static_cast<int>(blob->size()),
                        SQLITE_TRANSIENT);
    }
    int rc = sqlite3_step(statement);
    EXPECT_TRUE(rc == SQLITE_DONE || rc == SQLITE_ROW) << sql << ": " << sqlite3_errmsg(db_);
    sqlite3_finalize(statement);
  }
  // The first column of the first row, as text ("" when none).
  std::string text(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    std::string out;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_text(statement, 0) != nullptr) {
      out = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
    } else {
      out = std::string("error: ") + sqlite3_errmsg(db_);
    }
    sqlite3_finalize(statement);
    return out;
  }

 private:
  sqlite3* db_ = nullptr;
};

}  // namespace zorlan::testing
