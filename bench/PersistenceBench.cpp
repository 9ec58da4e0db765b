// The persistent store against what an application would write by hand:
// a cached read against an unordered_map lookup, a write against a raw
// prepared SQLite upsert with the same settings (WAL, synchronous=NORMAL),
// a read that needs one migration against one that decodes directly, and a
// property read against the store read it makes.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <unordered_map>

#include "support/Ratio.hpp"
#include "zorlan/Persistence/DefaultsStore.hpp"
#include "zorlan/Persistence/PersistentProperty.hpp"

namespace {

using namespace zorlan;

// The benchmarks' files, removed when main returns.
const std::filesystem::path& scratchDirectory() {
  static const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("zorlan-bench-" + std::to_string(::getpid()));
  return dir;
}

const std::string kTitle = "The Expanse: season 3, episode 7 (4K HDR)";

void BM_StoreGetCached(benchmark::State& state) {
  DefaultsStore store(Defaults::inMemory());
  const PersistentKey<std::string> key("lastTitle");
  store.set(key, kTitle);
  for (int i = 0; i < 64; ++i) store.set(PersistentKey<int>("other" + std::to_string(i)), i);
  for (auto _ : state) {
    std::optional<std::string> title = store.get(key);
    benchmark::DoNotOptimize(title);
  }
}
BENCHMARK(BM_StoreGetCached);

void BM_MapFindCopy(benchmark::State& state) {
  std::unordered_map<std::string, std::string> map;
  map.emplace("lastTitle", kTitle);
  for (int i = 0; i < 64; ++i) map.emplace("other" + std::to_string(i), std::to_string(i));
  const std::string key = "lastTitle";
  for (auto _ : state) {
    auto it = map.find(key);
    std::optional<std::string> title;
    if (it != map.end()) title = it->second;
    benchmark::DoNotOptimize(title);
  }
}
BENCHMARK(BM_MapFindCopy);

void BM_StoreSet(benchmark::State& state) {
  const std::filesystem::path dir = scratchDirectory() / "store";
  DefaultsStore store(Defaults::open("bench", dir));
  const PersistentKey<std::int64_t> key("position");
  std::int64_t position = 0;
  for (auto _ : state) store.set(key, ++position);
}
BENCHMARK(BM_StoreSet);

// The same file shape and settings, written as an application using SQLite
// directly would: one prepared upsert, bound and stepped per write.
void BM_SQLiteUpsert(benchmark::State& state) {
  const std::filesystem::path dir = scratchDirectory() / "raw";
  std::filesystem::create_directories(dir);
  sqlite3* db = nullptr;
  sqlite3_open((dir / "bench.sqlite").c_str(), &db);
  sqlite3_exec(db,
               "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
               "CREATE TABLE IF NOT EXISTS defaults(key TEXT PRIMARY KEY, kind INTEGER NOT NULL, value)",
               nullptr, nullptr, nullptr);
  sqlite3_stmt* upsert = nullptr;
  sqlite3_prepare_v2(db,
                     "INSERT INTO defaults(key, kind, value) VALUES(?1, ?2, ?3) "
                     "ON CONFLICT(key) DO UPDATE SET kind = excluded.kind, value = excluded.value",
                     -1, &upsert, nullptr);
  std::int64_t position = 0;
  for (auto _ : state) {
    sqlite3_bind_text(upsert, 1, "position", -1, SQLITE_STATIC);
    sqlite3_bind_int(upsert, 2, 2);
    sqlite3_bind_int64(upsert, 3, ++position);
    if (sqlite3_step(upsert) != SQLITE_DONE) state.SkipWithError("upsert failed");
    sqlite3_reset(upsert);
  }
  sqlite3_finalize(upsert);
  sqlite3_close(db);
}
BENCHMARK(BM_SQLiteUpsert);

struct Episode {
  std::string title;
  int season = 0;
  int number = 0;
  double progress = 0;
  static MigrationSchema schema() {
    return {SemVer(1, 0, 0),
            {Migration{SemVer(), SemVer(1, 0, 0), {[](TypedJSON t) { return std::move(t).renaming("name", "title"); }}}}};
  }
};
ZORLAN_CODABLE(Episode, title, season, number, progress);

const Data kCurrent(R"({"title":"Pilot","season":1,"number":1,"progress":0.25,"version":"1.0.0"})");
const Data kOld(R"({"name":"Pilot","season":1,"number":1,"progress":0.25})");

void BM_DecodeMigrating(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(persistableDecode<Episode>(kOld));
}
BENCHMARK(BM_DecodeMigrating);

void BM_DecodeDirect(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(persistableDecode<Episode>(kCurrent));
}
BENCHMARK(BM_DecodeDirect);

void BM_PropertyRead(benchmark::State& state) {
  auto store = std::make_shared<DefaultsStore>(Defaults::inMemory());
  PersistentProperty<std::int64_t> volume(PersistentKey<std::int64_t>("volume"), 5, store);
  volume.setValue(7);
  for (auto _ : state) benchmark::DoNotOptimize(volume.value());
}
BENCHMARK(BM_PropertyRead);

void BM_StoreGetForProperty(benchmark::State& state) {
  DefaultsStore store(Defaults::inMemory());
  const PersistentKey<std::int64_t> key("volume");
  store.set(key, std::int64_t{7});
  for (auto _ : state) benchmark::DoNotOptimize(store.get(key).value_or(5));
}
BENCHMARK(BM_StoreGetForProperty);

}  // namespace

int main(int argc, char** argv) {
  std::filesystem::create_directories(scratchDirectory());
  const int status = zorlan::bench::runBenchmarks(
      argc, argv,
      {{"store_get_cached_vs_map", "BM_StoreGetCached", "BM_MapFindCopy"},
       {"store_set_vs_sqlite", "BM_StoreSet", "BM_SQLiteUpsert"},
       {"decode_migrating_vs_direct", "BM_DecodeMigrating", "BM_DecodeDirect"},
       {"property_read_vs_store_get", "BM_PropertyRead", "BM_StoreGetForProperty"}});
  std::error_code ignored;
  std::filesystem::remove_all(scratchDirectory(), ignored);
  return status;
}
