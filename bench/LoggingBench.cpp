// Logging: a message that every sink rejects, a durable message into the log
// file (on disk when the call returns) from one thread and from eight, and
// appends to a large log file, against spdlog doing the same work.
#include <benchmark/benchmark.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "support/Ratio.hpp"
#include "zorlan/Logging/Log.hpp"
#include "zorlan/Logging/LogFile.hpp"
#include "zorlan/Logging/LogFileReader.hpp"
#include "zorlan/Rx/Subjects.hpp"

// Counts the heap allocations of each thread, so the rejected-message case
// can show it makes none.
namespace {
thread_local long tAllocations = 0;
}  // namespace

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(std::size_t size) {
  ++tAllocations;
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

namespace {

namespace fs = std::filesystem;
using zorlan::Log;
using zorlan::LogLevel;
using zorlan::LogLevelConfig;

struct BenchCaller {};

using ConfigRelay = zorlan::rx::BehaviorRelay<std::shared_ptr<const zorlan::LogConfig>>;

fs::path benchDirectory() {
  static const fs::path dir = [] {
    fs::path d = fs::temp_directory_path() / ("zorlan-logbench-" + std::to_string(::getpid()));
    fs::create_directories(d);
    return d;
  }();
  return dir;
}

// The facade is process-wide: each case picks the levels, and a case that
// writes sets it up again with a log file of its own.
ConfigRelay& facade() {
  static ConfigRelay* relay = [] {
    auto* r = new ConfigRelay(std::make_shared<zorlan::UniformLogConfig>(LogLevelConfig::none));
    Log::setup(benchDirectory() / "facade.log", zorlan::asBehaviorReader(*r));
    return r;
  }();
  return *relay;
}

// Sets the facade up with a new, empty log file (the one it replaces is
// removed), so that no run finds a file filled by the runs before it.
fs::path freshFacadeFile() {
  static int count = 0;
  static fs::path current = benchDirectory() / "facade.log";
  ConfigRelay& relay = facade();
  const fs::path previous = current;
  current = benchDirectory() / ("facade-" + std::to_string(++count) + ".log");
  Log::setup(current, zorlan::asBehaviorReader(relay));
  std::error_code ignored;
  fs::remove(previous, ignored);
  return current;
}

void useLevels(LogLevelConfig levels) {
  facade().accept(std::make_shared<zorlan::UniformLogConfig>(levels));
}

// --- A message below every threshold ---------------------------------------

void BM_LogDisabled(benchmark::State& state) {
  // Both sinks exist; `error` thresholds reject `debug` for both.
  useLevels({LogLevel::error, LogLevel::error});
  const Log& log = Log::shared();
  const BenchCaller caller;
  const long before = tAllocations;
  for (auto _ : state) {
    log.debug(caller, "a message nobody wants");
    benchmark::ClobberMemory();
  }
  const long allocations = tAllocations - before;
  state.counters["allocations"] = static_cast<double>(allocations);
  if (allocations != 0) state.SkipWithError("the rejected message allocated");
}
BENCHMARK(BM_LogDisabled);

void BM_SpdlogDisabled(benchmark::State& state) {
  spdlog::logger logger("disabled", std::make_shared<spdlog::sinks::null_sink_mt>());
  logger.set_level(spdlog::level::err);
  for (auto _ : state) {
    logger.debug("a message nobody wants");
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_SpdlogDisabled);

// --- A durable message ------------------------------------------------------

void BM_LogDurable(benchmark::State& state) {
  // The console threshold `error` keeps `info` off the console; the file
  // takes it. The write is on disk (in the kernel) when the call returns.
  const fs::path path = freshFacadeFile();
  useLevels({LogLevel::error, LogLevel::debug});
  const Log& log = Log::shared();
  const BenchCaller caller;
  for (auto _ : state) log.info(caller, "player started the stream");
  useLevels({LogLevel::error, LogLevel::error});
  // A file at its bound refuses appends and would time refusals instead.
  const auto size = fs::file_size(path);
  state.counters["file_MiB"] = static_cast<double>(size) / (1 << 20);
  if (size > (std::uintmax_t{140} << 20)) state.SkipWithError("the log file reached its bound");
}
BENCHMARK(BM_LogDurable)->MinTime(0.3);

// spdlog's default line ("[time] [name] [level] message": about a third of
// the bytes, no source location), flushed after every message.
void BM_SpdlogDurable(benchmark::State& state) {
  const fs::path path = benchDirectory() / "spdlog-default.log";
  spdlog::logger logger("durable",
                        std::make_shared<spdlog::sinks::basic_file_sink_mt>(path.string(), true));
  logger.set_level(spdlog::level::trace);
  logger.flush_on(spdlog::level::trace);
  for (auto _ : state) logger.info("player started the stream");
  logger.flush();
}
BENCHMARK(BM_SpdlogDurable)->MinTime(0.3);

// Beside it, spdlog writing the same information per event as the log file:
// the message, the time, the level, the logger's name and the caller's file,
// line and function, as one JSON object per line (about as many bytes: what a
// write costs in the kernel grows with its size).
void BM_SpdlogDurableSameFields(benchmark::State& state) {
  const fs::path path = benchDirectory() / "spdlog.log";
  spdlog::logger logger("BenchCaller",
                        std::make_shared<spdlog::sinks::basic_file_sink_mt>(path.string(), true));
  logger.set_pattern(
      R"({"message":"%v","loggedAt":%E.%f,"level":"%l","sender":"%n","file":"%g","line":%#,)"
      R"("function":"%!"})");
  logger.set_level(spdlog::level::trace);
  logger.flush_on(spdlog::level::trace);
  for (auto _ : state) SPDLOG_LOGGER_INFO(&logger, "player started the stream");
  logger.flush();
}
BENCHMARK(BM_SpdlogDurableSameFields)->MinTime(0.3);

// --- Durable messages from eight threads at once ------------------------------

constexpr int kThreads = 8;
constexpr int kEventsPerThread = 10'000;

// Runs `write(thread, index)` for every event on kThreads threads at once.
template <class Write>
void onThreads(const Write& write) {
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&write, t] {
      for (int i = 0; i < kEventsPerThread; ++i) write(t, i);
    });
  }
  for (auto& thread : threads) thread.join();
}

// "<thread>:<index>" (short enough for the string's inline storage).
std::string eventMessage(int thread, int index) {
  return std::to_string(thread) + ':' + std::to_string(index);
}

// Empty when the file holds every thread's events, each thread's in order;
// else what is wrong.
std::string checkThreadEvents(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  const zorlan::LogFileContents contents = zorlan::readLogFile(bytes);
  if (contents.error) return "the log file does not parse: " + *contents.error;
  if (contents.truncatedAt) return "the log file ends inside an event";
  if (contents.entries.size() != std::size_t{kThreads} * kEventsPerThread) {
    return "the log file holds " + std::to_string(contents.entries.size()) + " events";
  }
  std::vector<int> next(kThreads, 0);
  for (const zorlan::LogFileEntry& entry : contents.entries) {
    int thread = -1;
    int index = -1;
    const char* end = entry.message.data() + entry.message.size();
    auto [colon, e1] = std::from_chars(entry.message.data(), end, thread);
    if (e1 != std::errc() || colon == end || *colon != ':' || thread < 0 || thread >= kThreads ||
        std::from_chars(colon + 1, end, index).ec != std::errc() || index != next[thread]++) {
      return "unexpected event \"" + entry.message + "\"";
    }
  }
  return {};
}

void BM_LogDurable8Threads(benchmark::State& state) {
  useLevels({LogLevel::error, LogLevel::debug});
  const BenchCaller caller;
  std::string problem;
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path path = freshFacadeFile();
    state.ResumeTiming();
    onThreads([&caller](int thread, int index) {
      Log::shared().info(caller, eventMessage(thread, index));
    });
    state.PauseTiming();
    if (problem.empty()) problem = checkThreadEvents(path);
    state.ResumeTiming();
  }
  useLevels({LogLevel::error, LogLevel::error});
  state.counters["events"] = kThreads * kEventsPerThread;
  if (!problem.empty()) state.SkipWithError(problem.c_str());
}
BENCHMARK(BM_LogDurable8Threads)->Iterations(3)->UseRealTime();

void BM_SpdlogDurable8Threads(benchmark::State& state) {
  const fs::path path = benchDirectory() / "spdlog-threads.log";
  spdlog::logger logger("durable",
                        std::make_shared<spdlog::sinks::basic_file_sink_mt>(path.string(), true));
  logger.set_level(spdlog::level::trace);
  logger.flush_on(spdlog::level::trace);
  for (auto _ : state) {
    onThreads([&logger](int thread, int index) { logger.info(eventMessage(thread, index)); });
  }
  logger.flush();
  state.counters["events"] = kThreads * kEventsPerThread;
}
BENCHMARK(BM_SpdlogDurable8Threads)->Iterations(3)->UseRealTime();

// --- Appends to a large file ---------------------------------------------------

// Writes a valid events file of about `bytes` bytes.
void writeEventsFile(const fs::path& path, std::size_t bytes) {
  const std::string event =
      R"({"message":"a message already in the file before it was opened","loggedAt":1706745599.5})";
  std::string block;
  while (block.size() < (1u << 20)) block += event + ",\n";
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  std::size_t written = 0;
  while (written + block.size() <= bytes) {
    out.write(block.data(), static_cast<std::streamsize>(block.size()));
    written += block.size();
  }
  while (written + event.size() + 2 < bytes) {
    out << event << ",\n";
    written += event.size() + 2;
  }
  out << event;
}

void BM_LogFileAppend(benchmark::State& state) {
  const auto mebibytes = static_cast<std::size_t>(state.range(0));
  const fs::path path = benchDirectory() / ("append-" + std::to_string(mebibytes) + ".log");
  writeEventsFile(path, mebibytes << 20);
  // Large enough that neither file nor the appends come near the bound.
  auto file = zorlan::LogFile::open(path, std::int64_t{1} << 32);
  (void)file->currentSize();  // waits for the initial load
  const zorlan::MessageLogEvent event("BenchCaller", zorlan::LoggerLevel::info, "",
                                      "player started the stream", true, {},
                                      {"Logging/LoggingBench", 42, "append"});
  for (auto _ : state) file->log(event);
  state.counters["file_MiB"] = static_cast<double>(fs::file_size(path)) / (1 << 20);
  file.reset();
  fs::remove(path);
}
BENCHMARK(BM_LogFileAppend)->Arg(1)->Arg(100)->MinTime(0.5);

}  // namespace

int main(int argc, char** argv) {
  int code = zorlan::bench::runBenchmarks(
      argc, argv,
      {{"log_disabled_vs_spdlog", "BM_LogDisabled", "BM_SpdlogDisabled"},
       {"log_durable_vs_spdlog_flush", "BM_LogDurable/min_time:0.300",
        "BM_SpdlogDurable/min_time:0.300"},
       {"log_durable_vs_spdlog_same_fields", "BM_LogDurable/min_time:0.300",
        "BM_SpdlogDurableSameFields/min_time:0.300"},
       {"log_durable_8threads_vs_spdlog_mt_flush", "BM_LogDurable8Threads/iterations:3/real_time",
        "BM_SpdlogDurable8Threads/iterations:3/real_time"},
       {"log_append_100mib_vs_1mib", "BM_LogFileAppend/100/min_time:0.500",
        "BM_LogFileAppend/1/min_time:0.500"}});
  std::error_code ignored;
  fs::remove_all(benchDirectory(), ignored);
  return code;
}
