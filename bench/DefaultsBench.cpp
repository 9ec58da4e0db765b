// The defaults database: reads from its cache against a std::unordered_map
// find and copy of the same value, and a write against a raw prepared SQLite
// upsert on a database set up the same way (WAL, synchronous=NORMAL, the
// same table, one transaction per write).
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <unordered_map>

#include "support/Ratio.hpp"
#include "zorlan/Platform/Defaults.hpp"

namespace {

constexpr int kKeys = 64;

std::string keyName(int i) { return "com.example.setting." + std::to_string(i); }
// A text too long for the short-string buffer: its copy allocates on both sides.
std::string textValue(int i) { return "value of setting number " + std::to_string(i); }

struct Folder {
  Folder() {
    path = std::filesystem::temp_directory_path() /
           ("zorlan-bench-defaults-" + std::to_string(::getpid()));
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::filesystem::path path;
};

std::shared_ptr<zorlan::Defaults> filledSuite(const Folder& folder, const char* name) {
  auto defaults = zorlan::Defaults::open(name, folder.path);
  for (int i = 0; i < kKeys; ++i) {
    defaults->set(keyName(i) + ".int", std::int64_t{i});
    defaults->set(keyName(i) + ".text", textValue(i));
  }
  return defaults;
}

void BM_DefaultsReadInt(benchmark::State& state) {
  Folder folder;
  auto defaults = filledSuite(folder, "read");
  const std::string key = keyName(17) + ".int";
  for (auto _ : state) {
    std::optional<std::int64_t> value = defaults->value<std::int64_t>(key);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_DefaultsReadInt);

void BM_UnorderedMapReadInt(benchmark::State& state) {
  std::unordered_map<std::string, std::int64_t> map;
  for (int i = 0; i < kKeys; ++i) {
    map[keyName(i) + ".int"] = i;
    map[keyName(i) + ".text"] = i;
  }
  const std::string key = keyName(17) + ".int";
  for (auto _ : state) {
    std::optional<std::int64_t> value;
    if (auto found = map.find(key); found != map.end()) value = found->second;
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_UnorderedMapReadInt);

void BM_DefaultsReadObject(benchmark::State& state) {
  Folder folder;
  auto defaults = filledSuite(folder, "read");
  const std::string key = keyName(17) + ".text";
  for (auto _ : state) {
    std::optional<zorlan::PropertyListValue> value = defaults->object(key);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_DefaultsReadObject);

void BM_UnorderedMapReadObject(benchmark::State& state) {
  std::unordered_map<std::string, zorlan::PropertyListValue> map;
  for (int i = 0; i < kKeys; ++i) {
    map[keyName(i) + ".int"] = std::int64_t{i};
    map[keyName(i) + ".text"] = textValue(i);
  }
  const std::string key = keyName(17) + ".text";
  for (auto _ : state) {
    std::optional<zorlan::PropertyListValue> value;
    if (auto found = map.find(key); found != map.end()) value = found->second;
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_UnorderedMapReadObject);

std::array<std::string, 16> writeKeys() {
  std::array<std::string, 16> keys;
  for (int i = 0; i < 16; ++i) keys[static_cast<std::size_t>(i)] = keyName(i);
  return keys;
}

void BM_DefaultsWriteInt(benchmark::State& state) {
  Folder folder;
  auto defaults = zorlan::Defaults::open("write", folder.path);
  const auto keys = writeKeys();
  std::int64_t n = 0;
  for (auto _ : state) {
    defaults->set(keys[static_cast<std::size_t>(n % 16)], n);
    ++n;
  }
}
BENCHMARK(BM_DefaultsWriteInt);

void BM_SQLiteUpsertInt(benchmark::State& state) {
  Folder folder;
  sqlite3* db = nullptr;
  const std::string path = (folder.path / "write.sqlite").string();
  sqlite3_open_v2(path.c_str(), &db,
                  SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  sqlite3_busy_timeout(db, 5000);
  sqlite3_exec(db,
               "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; "
               "CREATE TABLE defaults(key TEXT PRIMARY KEY NOT NULL, kind INTEGER NOT NULL, "
               "value) WITHOUT ROWID",
               nullptr, nullptr, nullptr);
  sqlite3_stmt* upsert = nullptr;
  sqlite3_prepare_v3(db,
                     "INSERT INTO defaults(key, kind, value) VALUES(?1, ?2, ?3) "
                     "ON CONFLICT(key) DO UPDATE SET kind = excluded.kind, value = excluded.value",
                     -1, SQLITE_PREPARE_PERSISTENT, &upsert, nullptr);
  const auto keys = writeKeys();
  std::int64_t n = 0;
  for (auto _ : state) {
    const std::string& key = keys[static_cast<std::size_t>(n % 16)];
    sqlite3_bind_text(upsert, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    sqlite3_bind_int(upsert, 2, 2);
    sqlite3_bind_int64(upsert, 3, n);
    if (sqlite3_step(upsert) != SQLITE_DONE) state.SkipWithError(sqlite3_errmsg(db));
    sqlite3_reset(upsert);
    ++n;
  }
  sqlite3_finalize(upsert);
  sqlite3_close_v2(db);
}
BENCHMARK(BM_SQLiteUpsertInt);

}  // namespace

int main(int argc, char** argv) {
  return zorlan::bench::runBenchmarks(
      argc, argv,
      {{"defaults_read_int_vs_unordered_map", "BM_DefaultsReadInt", "BM_UnorderedMapReadInt"},
       {"defaults_read_object_vs_unordered_map", "BM_DefaultsReadObject",
        "BM_UnorderedMapReadObject"},
       {"defaults_write_vs_sqlite_upsert", "BM_DefaultsWriteInt", "BM_SQLiteUpsertInt"}});
}
