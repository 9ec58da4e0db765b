#include "Platform/DefaultsDatabase.hpp"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>

#include "Platform/DefaultsEncoding.hpp"
#include "zorlan/Platform/Defaults.hpp"

namespace zorlan::detail {
namespace {

using Kind = PropertyListValue::Kind;

// Long enough for another process's write to finish; a write that waits
// longer than this fails with "database is locked".
constexpr int kBusyTimeoutMilliseconds = 5000;

std::filesystem::path shownPath(const std::filesystem::path& path) {
  return path.empty() ? std::filesystem::path(":memory:") : path;
}

std::string errorText(sqlite3* db, int rc) {
  return db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
}

// Opens `path` (or an in-memory database) and checks it before anything is
// written: until the check passes, closing the connection must not
// checkpoint a write-ahead log into a file that may be damaged.
sqlite3* openChecked(const std::filesystem::path& path, int flags) {
  sqlite3* db = nullptr;
  const std::string name = path.empty() ? std::string(":memory:") : path.string();
  int rc = sqlite3_open_v2(name.c_str(), &db, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  auto refuse = [&](const std::string& problem) {
    sqlite3_close_v2(db);
    throw DefaultsError(shownPath(path), problem);
  };
  if (rc != SQLITE_OK) refuse(errorText(db, rc));
  sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  sqlite3_busy_timeout(db, kBusyTimeoutMilliseconds);

  sqlite3_stmt* check = nullptr;
  rc = sqlite3_prepare_v2(db, "PRAGMA quick_check", -1, &check, nullptr);
  if (rc != SQLITE_OK) refuse(errorText(db, rc));
  std::string verdict;
  while ((rc = sqlite3_step(check)) == SQLITE_ROW) {
    const auto* text = sqlite3_column_text(check, 0);
    std::string line = text != nullptr ? reinterpret_cast<const char*>(text) : "";
    if (verdict.empty()) verdict = line;
  }
  std::string stepError = rc == SQLITE_DONE ? "" : errorText(db, rc);
  sqlite3_finalize(check);
  if (!stepError.empty()) refuse(stepError);
  if (verdict != "ok") refuse("database disk image is malformed (" + verdict + ")");
  return db;
}

void closeQuietly(sqlite3* db) { sqlite3_close_v2(db); }

}  // namespace

DefaultsDatabase::DefaultsDatabase(const std::filesystem::path& path) : path_(path) {
  db_ = openChecked(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  try {
    if (!path.empty()) {
      sqlite3_stmt* mode = prepare("PRAGMA journal_mode=WAL");
      int rc = sqlite3_step(mode);
      const unsigned char* text = rc == SQLITE_ROW ? sqlite3_column_text(mode, 0) : nullptr;
      std::string journal = text != nullptr ? reinterpret_cast<const char*>(text) : "";
      sqlite3_finalize(mode);
      if (rc != SQLITE_ROW) fail("cannot enable write-ahead logging");
      if (journal != "wal") {
        throw DefaultsError(path_,
                            "cannot enable write-ahead logging (journal mode " + journal + ")");
      }
      exec("PRAGMA synchronous=NORMAL");
    }
    exec(
        "CREATE TABLE IF NOT EXISTS defaults("
        "key TEXT PRIMARY KEY NOT NULL, kind INTEGER NOT NULL, value) WITHOUT ROWID");
    upsert_ = prepare(
        "INSERT INTO defaults(key, kind, value) VALUES(?1, ?2, ?3) "
        "ON CONFLICT(key) DO UPDATE SET kind = excluded.kind, value = excluded.value");
    remove_ = prepare("DELETE FROM defaults WHERE key = ?1");
    clear_ = prepare("DELETE FROM defaults");
    selectAll_ = prepare("SELECT key, kind, value FROM defaults");
    dataVersion_ = prepare("PRAGMA data_version");
    begin_ = prepare("BEGIN IMMEDIATE");
    commit_ = prepare("COMMIT");
    rollback_ = prepare("ROLLBACK");
  } catch (...) {
    for (auto* s :
         {upsert_, remove_, clear_, selectAll_, dataVersion_, begin_, commit_, rollback_}) {
      sqlite3_finalize(s);
    }
    closeQuietly(db_);
    throw;
  }
  // The file is sound: from now on the last connection to close folds the
  // write-ahead log back into it.
  sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
}

DefaultsDatabase::~DefaultsDatabase() {
  for (auto* s : {upsert_, remove_, clear_, selectAll_, dataVersion_, begin_, commit_, rollback_}) {
    sqlite3_finalize(s);
  }
  closeQuietly(db_);
}

void DefaultsDatabase::clearFile(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return;
  sqlite3* db = openChecked(path, SQLITE_OPEN_READWRITE);
  sqlite3_stmt* probe = nullptr;
  int rc = sqlite3_prepare_v2(db, "SELECT 1 FROM sqlite_schema WHERE name = 'defaults'", -1, &probe,
                              nullptr);
  bool hasTable = rc == SQLITE_OK && sqlite3_step(probe) == SQLITE_ROW;
  sqlite3_finalize(probe);
  std::string problem;
  if (rc != SQLITE_OK) {
    problem = errorText(db, rc);
  } else if (hasTable) {
    sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
    if (sqlite3_exec(db, "DELETE FROM defaults", nullptr, nullptr, nullptr) != SQLITE_OK) {
      problem = "cannot remove the suite's values: " + std::string(sqlite3_errmsg(db));
    }
  }
  closeQuietly(db);
  if (!problem.empty()) throw DefaultsError(path, problem);
}

void DefaultsDatabase::fail(std::string_view doing) const {
  std::string problem(doing);
  if (!problem.empty()) problem += ": ";
  problem += sqlite3_errmsg(db_);
  throw DefaultsError(shownPath(path_), problem);
}

void DefaultsDatabase::exec(const char* sql) {
  if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail("");
}

sqlite3_stmt* DefaultsDatabase::prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
      SQLITE_OK) {
    fail("");
  }
  return statement;
}

namespace {

// Resets a statement and clears its bindings on every way out.
struct StatementUse {
  explicit StatementUse(sqlite3_stmt* s) : statement(s) {}
  ~StatementUse() {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
  }
  sqlite3_stmt* statement;
};

template <class T>
void bindBits(sqlite3_stmt* statement, int index, T number) {
  using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
  auto bits = std::bit_cast<Bits>(number);
  std::array<std::uint8_t, sizeof(T)> bytes{};
  for (std::size_t i = 0; i < sizeof(T); ++i) bytes[i] = static_cast<std::uint8_t>(bits >> (8 * i));
  sqlite3_bind_blob(statement, index, bytes.data(), static_cast<int>(bytes.size()),
                    SQLITE_TRANSIENT);
}

template <class T>
void bindFloating(sqlite3_stmt* statement, int index, T number) {
  if (std::isnan(number)) {
    bindBits(statement, index, number);  // SQLite would store NULL
  } else {
    sqlite3_bind_double(statement, index, static_cast<double>(number));
  }
}

// A REAL (or INTEGER) column, or the bits of a NaN in a blob of sizeof(T).
template <class T>
std::optional<T> readFloating(sqlite3_stmt* statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_FLOAT: {
      double d = sqlite3_column_double(statement, column);
      if constexpr (sizeof(T) == 4) {
        if (std::isfinite(d) && std::fabs(d) > std::numeric_limits<float>::max()) {
          return std::nullopt;
        }
      }
      return static_cast<T>(d);
    }
    case SQLITE_INTEGER:
      return static_cast<T>(sqlite3_column_int64(statement, column));
    case SQLITE_BLOB: {
      if (sqlite3_column_bytes(statement, column) != static_cast<int>(sizeof(T))) {
        return std::nullopt;
      }
      const auto* p = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, column));
      using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
      Bits bits = 0;
      for (std::size_t i = 0; i < sizeof(T); ++i) bits |= static_cast<Bits>(p[i]) << (8 * i);
      return std::bit_cast<T>(bits);
    }
    default:
      return std::nullopt;
  }
}

std::optional<std::string_view> readText(sqlite3_stmt* statement, int column) {
  if (sqlite3_column_type(statement, column) != SQLITE_TEXT) return std::nullopt;
  const auto* text = sqlite3_column_text(statement, column);
  int size = sqlite3_column_bytes(statement, column);
  if (text == nullptr) return std::string_view();
  return std::string_view(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
}

std::optional<std::span<const std::uint8_t>> readBlob(sqlite3_stmt* statement, int column) {
  if (sqlite3_column_type(statement, column) != SQLITE_BLOB) return std::nullopt;
  const auto* p = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, column));
  int size = sqlite3_column_bytes(statement, column);
  if (p == nullptr || size <= 0) return std::span<const std::uint8_t>();
  return std::span<const std::uint8_t>(p, static_cast<std::size_t>(size));
}

}  // namespace

void DefaultsDatabase::bindValue(sqlite3_stmt* statement, int index,
                                 const PropertyListValue& value) {
  switch (value.kind()) {
    case Kind::string: {
      const auto& text = *value.get<std::string>();
      sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
      break;
    }
    case Kind::boolean:
      sqlite3_bind_int(statement, index, *value.get<bool>() ? 1 : 0);
      break;
    case Kind::integer:
      sqlite3_bind_int64(statement, index, *value.get<std::int64_t>());
      break;
    case Kind::float32:
      bindFloating(statement, index, *value.get<float>());
      break;
    case Kind::float64:
      bindFloating(statement, index, *value.get<double>());
      break;
    case Kind::date:
      bindFloating(statement, index, value.get<Date>()->timeIntervalSinceReferenceDate());
      break;
    case Kind::data: {
      const auto& bytes = value.get<Data>()->bytes();
      if (bytes.empty()) {
        sqlite3_bind_zeroblob(statement, index, 0);  // a null pointer would bind NULL
      } else {
        sqlite3_bind_blob64(statement, index, bytes.data(), bytes.size(), SQLITE_STATIC);
      }
      break;
    }
    case Kind::url: {
      std::string_view text = value.get<URL>()->absoluteString();
      sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
      break;
    }
    case Kind::array:
    case Kind::dictionary:
      scratch_.clear();
      encodeContainer(value, scratch_);
      sqlite3_bind_blob64(statement, index, scratch_.data(), scratch_.size(), SQLITE_STATIC);
      break;
  }
}

void DefaultsDatabase::upsert(std::string_view key, const PropertyListValue& value) {
  StatementUse use(upsert_);
  sqlite3_bind_text64(upsert_, 1, key.data(), key.size(), SQLITE_STATIC, SQLITE_UTF8);
  sqlite3_bind_int(upsert_, 2, static_cast<int>(value.kind()));
  bindValue(upsert_, 3, value);
  if (sqlite3_step(upsert_) != SQLITE_DONE) fail("cannot write");
}

bool DefaultsDatabase::remove(std::string_view key) {
  StatementUse use(remove_);
  sqlite3_bind_text64(remove_, 1, key.data(), key.size(), SQLITE_STATIC, SQLITE_UTF8);
  if (sqlite3_step(remove_) != SQLITE_DONE) fail("cannot remove");
  return sqlite3_changes(db_) > 0;
}

void DefaultsDatabase::transaction(const std::function<void()>& body) {
  {
    StatementUse use(begin_);
    if (sqlite3_step(begin_) != SQLITE_DONE) fail("cannot write");
  }
  try {
    body();
    StatementUse use(commit_);
    if (sqlite3_step(commit_) != SQLITE_DONE) fail("cannot write");
  } catch (...) {
    if (!sqlite3_get_autocommit(db_)) {
      StatementUse use(rollback_);
      sqlite3_step(rollback_);
    }
    throw;
  }
}

void DefaultsDatabase::remove(const std::vector<std::string>& keys) {
  transaction([&] {
    for (const auto& key : keys) remove(key);
  });
}

void DefaultsDatabase::clear() {
  StatementUse use(clear_);
  if (sqlite3_step(clear_) != SQLITE_DONE) fail("cannot remove");
}

void DefaultsDatabase::readAll(
    const std::function<void(std::string_view, std::optional<PropertyListValue>)>& row) {
  StatementUse use(selectAll_);
  int rc = SQLITE_ROW;
  while ((rc = sqlite3_step(selectAll_)) == SQLITE_ROW) {
    auto key = readText(selectAll_, 0);
    if (!key) continue;  // a row no key can name
    std::int64_t kind = sqlite3_column_type(selectAll_, 1) == SQLITE_INTEGER
                            ? sqlite3_column_int64(selectAll_, 1)
                            : -1;
    row(*key, readColumn(kind, selectAll_, 2));
  }
  if (rc != SQLITE_DONE) fail("cannot read");
}

std::int64_t DefaultsDatabase::dataVersion() {
  StatementUse use(dataVersion_);
  if (sqlite3_step(dataVersion_) != SQLITE_ROW) fail("cannot read");
  return sqlite3_column_int64(dataVersion_, 0);
}

std::optional<PropertyListValue> readColumn(std::int64_t kind, sqlite3_stmt* statement,
                                            int column) {
  if (kind < 0 || kind > static_cast<std::int64_t>(Kind::dictionary)) return std::nullopt;
  switch (static_cast<Kind>(kind)) {
    case Kind::string:
      if (auto text = readText(statement, column)) return PropertyListValue(std::string(*text));
      return std::nullopt;
    case Kind::boolean: {
      if (sqlite3_column_type(statement, column) != SQLITE_INTEGER) return std::nullopt;
      std::int64_t flag = sqlite3_column_int64(statement, column);
      if (flag != 0 && flag != 1) return std::nullopt;
      return PropertyListValue(flag == 1);
    }
    case Kind::integer:
      if (sqlite3_column_type(statement, column) != SQLITE_INTEGER) return std::nullopt;
      return PropertyListValue(sqlite3_column_int64(statement, column));
    case Kind::float32:
      if (auto f = readFloating<float>(statement, column)) return PropertyListValue(*f);
      return std::nullopt;
    case Kind::float64:
      if (auto d = readFloating<double>(statement, column)) return PropertyListValue(*d);
      return std::nullopt;
    case Kind::date:
      if (auto d = readFloating<double>(statement, column)) return PropertyListValue(Date(*d));
      return std::nullopt;
    case Kind::data:
      if (auto blob = readBlob(statement, column)) {
        return PropertyListValue(Data(std::vector<std::uint8_t>(blob->begin(), blob->end())));
      }
      return std::nullopt;
    case Kind::url:
      if (auto text = readText(statement, column)) {
        if (auto url = URL::fromString(*text)) return PropertyListValue(std::move(*url));
      }
      return std::nullopt;
    case Kind::array:
    case Kind::dictionary:
      if (auto blob = readBlob(statement, column)) {
        return decodeContainer(*blob, static_cast<Kind>(kind));
      }
      return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace zorlan::detail
