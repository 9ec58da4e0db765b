#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "zorlan/Dispatch/FileIOQueue.hpp"
#include "zorlan/Logging/FileLogger.hpp"
#include "zorlan/Platform/Logger.hpp"

namespace zorlan {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

constexpr double kJan31At235959 = 1706745599.0;  // 2024-01-31T23:59:59Z

std::string readAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The events of a log file, as a reader sees them: the file wrapped in brackets.
json::array readEvents(const fs::path& path) {
  std::string text = readAll(path);
  return json::parse("[" + text + "]").as_array();
}

std::vector<std::string> messages(const json::array& events) {
  std::vector<std::string> result;
  for (const auto& event : events) result.emplace_back(event.at("message").as_string());
  return result;
}

// Sets an environment variable (or unsets it for nullptr) for one scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    if (value) {
      ::setenv(name, value, 1);
    } else {
      ::unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (old_) {
      ::setenv(name_.c_str(), old_->c_str(), 1);
    } else {
      ::unsetenv(name_.c_str());
    }
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::optional<std::string> old_;
};

// A date source the test moves by hand; safe to read from the logger's queue,
// also after the test's clock is gone (the end marker is encoded after the
// logger's destruction).
class ManualClock {
 public:
  explicit ManualClock(double secondsSince1970)
      : seconds_(std::make_shared<std::atomic<double>>(secondsSince1970)) {}
  void set(double secondsSince1970) { seconds_->store(secondsSince1970); }
  FileLogger::DateSource source() {
    return [seconds = seconds_] { return Date::fromTimeIntervalSince1970(seconds->load()); };
  }

 private:
  std::shared_ptr<std::atomic<double>> seconds_;
};

// Waits until the logger's queue has run everything submitted so far.
void drain(const AsyncDispatcher& queue) {
  queue.sync([] {});
}

// Holds a queue busy until `release`, so work submitted meanwhile waits.
class QueueGate {
 public:
  explicit QueueGate(const Dispatcher& queue) {
    std::promise<void> started;
    std::future<void> running = started.get_future();
    queue.dispatch([started = std::make_shared<std::promise<void>>(std::move(started)),
                    released = released_.get_future().share()] {
      started->set_value();
      released.wait();
    });
    running.wait();
  }
  ~QueueGate() { release(); }
  QueueGate(const QueueGate&) = delete;
  QueueGate& operator=(const QueueGate&) = delete;
  void release() {
    if (!open_) {
      open_ = true;
      released_.set_value();
    }
  }

 private:
  std::promise<void> released_;
  bool open_ = false;
};

class FileLoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("zorlan-filelogger-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_ / "cache");
    cacheHome_.emplace("XDG_CACHE_HOME", (dir_ / "cache").c_str());
    tz_.emplace("TZ", "UTC");
  }
  void TearDown() override {
    tz_.reset();
    cacheHome_.reset();
    fs::remove_all(dir_);
  }

  fs::path cache() const { return dir_ / "cache"; }

  fs::path dir_;
  std::optional<ScopedEnv> cacheHome_;
  std::optional<ScopedEnv> tz_;
};

// --- File names -----------------------------------------------------------

struct FileNameCase {
  const char* timeZone;
  double secondsSince1970;
  const char* expected;
};

TEST_F(FileLoggerTest, NamesTheFileAfterTheCreationSecondInLocalTime) {
  const FileNameCase cases[] = {
      {"UTC", kJan31At235959, "20240131235959.log"},
      // Seconds are cut, not rounded: .999 stays in the same second.
      {"UTC", kJan31At235959 + 0.999, "20240131235959.log"},
      {"UTC", 946684800.0, "20000101000000.log"},                     // every field zero-padded
      {"Asia/Kolkata", kJan31At235959, "20240201052959.log"},         // +05:30, next day
      {"America/Los_Angeles", kJan31At235959, "20240131155959.log"},  // -08:00
      {"America/New_York", 1719835200.0, "20240701080000.log"},       // summer time, -04:00
      {"Pacific/Kiritimati", 1704067200.0, "20240101140000.log"},     // +14:00
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.timeZone) + " " + std::to_string(c.secondsSince1970));
    ScopedEnv tz("TZ", c.timeZone);
    ManualClock clock(c.secondsSince1970);
    FileLogger logger(std::string("Names-") + std::to_string(&c - cases),
                      FileLogger::LogLocation::appSandbox(), clock.source());
    ASSERT_TRUE(logger.filePath().has_value());
    EXPECT_EQ(logger.filePath()->filename().string(), c.expected);
    EXPECT_TRUE(fs::is_regular_file(*logger.filePath()));
  }
}

// --- Folders --------------------------------------------------------------

struct SandboxCase {
  const char* name;
  const char* xdgCacheHome;   // nullptr: unset; "@" is replaced by the test folder
  const char* expectedUnder;  // relative to the test folder
};

TEST_F(FileLoggerTest, AppSandboxIsTheUserCacheDirectory) {
  const SandboxCase cases[] = {
      {"absolute XDG_CACHE_HOME", "@/xdg", "xdg"},
      {"unset XDG_CACHE_HOME", nullptr, "home/.cache"},
      {"empty XDG_CACHE_HOME", "", "home/.cache"},
      {"relative XDG_CACHE_HOME is ignored", "relative/cache", "home/.cache"},
  };
  ScopedEnv home("HOME", (dir_ / "home").c_str());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string xdg = c.xdgCacheHome ? c.xdgCacheHome : "";
    if (!xdg.empty() && xdg[0] == '@') xdg = dir_.string() + xdg.substr(1);
    ScopedEnv env("XDG_CACHE_HOME", c.xdgCacheHome ? xdg.c_str() : nullptr);
    ManualClock clock(kJan31At235959);
    FileLogger logger("App Logs", FileLogger::LogLocation::appSandbox(), clock.source());
    EXPECT_EQ(logger.filePath(), dir_ / c.expectedUnder / "App Logs" / "20240131235959.log");
  }
  EXPECT_FALSE(fs::exists(fs::current_path() / "relative"));
}

TEST_F(FileLoggerTest, SharedDataContainerIsTheRegisteredDirectoryThenLibraryCaches) {
  FileLogger::registerSharedDataContainer("group.com.zorlan.tests", dir_ / "group");
  ManualClock clock(kJan31At235959);
  {
    FileLogger logger("Widget",
                      FileLogger::LogLocation::sharedDataContainer("group.com.zorlan.tests"),
                      clock.source());
    EXPECT_EQ(logger.filePath(),
              dir_ / "group" / "Library" / "Caches" / "Widget" / "20240131235959.log");
  }
  FileLogger::unregisterSharedDataContainer("group.com.zorlan.tests");
  EXPECT_EQ(FileLogger::sharedDataContainer("group.com.zorlan.tests"), std::nullopt);
}

TEST_F(FileLoggerTest, UnregisteredGroupWritesNothingAndDoesNotFail) {
  FileLogger::registerSharedDataContainer("group.com.zorlan.other", dir_ / "other");
  std::optional<AsyncDispatcher> queue;
  ::testing::internal::CaptureStdout();
  {
    FileLogger logger("Widget", FileLogger::LogLocation::sharedDataContainer("group.unknown"));
    EXPECT_EQ(logger.filePath(), std::nullopt);
    EXPECT_NO_THROW(logger.log("goes nowhere"));
    queue.emplace(logger.serialQueue());
    drain(*queue);
  }
  drain(*queue);  // the end marker, too, goes nowhere
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  FileLogger::unregisterSharedDataContainer("group.com.zorlan.other");

  // Nothing was created: not in the caches, not in another group's container.
  EXPECT_TRUE(fs::is_empty(cache()));
  EXPECT_FALSE(fs::exists(dir_ / "other"));
}

TEST_F(FileLoggerTest, FolderThatCannotBeCreatedPrintsWhyAndNeverThrows) {
  // A regular file where a directory must go: even a superuser cannot
  // create directories beneath it.
  std::ofstream(dir_ / "blocker") << "not a directory";
  FileLogger::registerSharedDataContainer("group.blocked", dir_ / "blocker");
  struct Case {
    const char* name;
    std::function<std::unique_ptr<FileLogger>()> make;
  };
  const Case cases[] = {
      {"shared container",
       [] {
         return std::make_unique<FileLogger>(
             "Logs", FileLogger::LogLocation::sharedDataContainer("group.blocked"));
       }},
      {"app sandbox",
       [this] {
         ScopedEnv env("XDG_CACHE_HOME", (dir_ / "blocker" / "cache").c_str());
         return std::make_unique<FileLogger>("Logs", FileLogger::LogLocation::appSandbox());
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ::testing::internal::CaptureStdout();
    std::unique_ptr<FileLogger> logger;
    ASSERT_NO_THROW(logger = c.make());
    EXPECT_EQ(logger->filePath(), std::nullopt);
    EXPECT_NO_THROW(logger->log("goes nowhere"));
    AsyncDispatcher queue = logger->serialQueue();
    logger.reset();
    drain(queue);
    std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed.rfind("Unable to create directory ", 0), 0u) << printed;
    EXPECT_NE(printed.find("blocker"), std::string::npos) << "names the path: " << printed;
    EXPECT_EQ(printed.back(), '\n');
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1) << printed;
  }
  FileLogger::unregisterSharedDataContainer("group.blocked");
  EXPECT_TRUE(fs::is_empty(cache()));
}

// --- Events ---------------------------------------------------------------

TEST_F(FileLoggerTest, EventsHoldExactlyTheMessageAndTheMomentOfEncoding) {
  ManualClock clock(kJan31At235959);
  FileLogger logger("Events", FileLogger::LogLocation::appSandbox(), clock.source());
  ASSERT_TRUE(logger.filePath());
  {
    QueueGate gate(logger.serialQueue());
    clock.set(1706745600.25);  // when `log` is called
    logger.log("first \"quoted\" \u00e9");
    clock.set(1706745612.5);  // when the queue gets to it
  }
  drain(logger.serialQueue());
  clock.set(1706745700.75);
  logger.log("second");
  drain(logger.serialQueue());

  const json::array events = readEvents(*logger.filePath());
  ASSERT_EQ(events.size(), 2u);
  const std::pair<const char*, double> expected[] = {
      {"first \"quoted\" \u00e9", 1706745612.5},
      {"second", 1706745700.75},
  };
  for (std::size_t i = 0; i < events.size(); ++i) {
    const json::object& event = events[i].as_object();
    EXPECT_EQ(event.size(), 2u) << json::serialize(event);
    EXPECT_EQ(event.at("message").as_string(), expected[i].first);
    EXPECT_DOUBLE_EQ(event.at("loggedAt").to_number<double>(), expected[i].second);
  }
  // Two compact objects joined by "," and a line feed, message first.
  EXPECT_EQ(readAll(*logger.filePath()).substr(0, 12), "{\"message\":\"");
  EXPECT_NE(readAll(*logger.filePath()).find("},\n{\"message\":\"second\""), std::string::npos);
}

class RecordingSink final : public LogSink {
 public:
  void log(const LogEvent& event) noexcept override {
    std::lock_guard lock(mutex_);
    seen.push_back({std::string(event.message()), std::string(event.eventType()), event.isPublic(),
                    event.source().has_value(), std::string(event.typeName())});
  }
  struct Seen {
    std::string message, type;
    bool isPublic, hasSource;
    std::string typeName;
  };
  std::mutex mutex_;
  std::vector<Seen> seen;
};

TEST_F(FileLoggerTest, HandsItsBaseLoggerPublicEventsWithoutTypeOrSource) {
  auto sink = std::make_shared<RecordingSink>();
  std::optional<AsyncDispatcher> queue;
  {
    FileLogger logger("Sink", FileLogger::LogLocation::appSandbox());
    logger.logger().add(sink);
    logger.log("hello");
    queue.emplace(logger.serialQueue());
  }
  drain(*queue);
  ASSERT_EQ(sink->seen.size(), 2u);
  EXPECT_EQ(sink->seen[0].message, "hello");
  EXPECT_EQ(sink->seen[1].message, "--- END ---");
  for (const auto& seen : sink->seen) {
    EXPECT_EQ(seen.type, "");
    EXPECT_TRUE(seen.isPublic);
    EXPECT_FALSE(seen.hasSource);
    EXPECT_EQ(seen.typeName, "FileLogEvent");
  }
}

// --- Order and the end marker ----------------------------------------------

TEST_F(FileLoggerTest, EndMarkerFollowsEverythingLoggedWhenDestroyedAfterTheQueueDrained) {
  std::optional<fs::path> path;
  std::optional<AsyncDispatcher> queue;
  {
    FileLogger logger("End", FileLogger::LogLocation::appSandbox());
    path = logger.filePath();
    ASSERT_TRUE(path);
    for (int i = 0; i < 3; ++i) logger.log("message " + std::to_string(i));
    queue.emplace(logger.serialQueue());
    drain(*queue);
    EXPECT_EQ(messages(readEvents(*path)),
              (std::vector<std::string>{"message 0", "message 1", "message 2"}));
  }
  drain(*queue);
  EXPECT_EQ(messages(readEvents(*path)),
            (std::vector<std::string>{"message 0", "message 1", "message 2", "--- END ---"}));
}

TEST_F(FileLoggerTest, MessagesStillQueuedAtDestructionAreWrittenBeforeTheEndMarker) {
  std::optional<fs::path> path;
  std::optional<AsyncDispatcher> queue;
  {
    auto logger = std::make_unique<FileLogger>("Pending", FileLogger::LogLocation::appSandbox());
    path = logger->filePath();
    ASSERT_TRUE(path);
    queue.emplace(logger->serialQueue());
    QueueGate gate(*queue);
    logger->log("a");
    logger->log("b");
    logger.reset();  // destroyed while "a" and "b" wait behind the gate
    EXPECT_EQ(readAll(*path), "");
  }
  drain(*queue);
  EXPECT_EQ(messages(readEvents(*path)), (std::vector<std::string>{"a", "b", "--- END ---"}));
}

TEST_F(FileLoggerTest, ManyLoggersFromManyThreadsKeepEachLoggersOrder) {
  constexpr int kThreads = 4;
  constexpr int kMessages = 50;
  std::vector<fs::path> paths(kThreads);
  std::vector<std::optional<AsyncDispatcher>> queues(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      FileLogger logger("Thread" + std::to_string(t), FileLogger::LogLocation::appSandbox());
      paths[t] = logger.filePath().value_or(fs::path());
      queues[t].emplace(logger.serialQueue());
      for (int i = 0; i < kMessages; ++i) logger.log(std::to_string(i));
    });
  }
  for (auto& thread : threads) thread.join();
  std::vector<std::string> expected;
  for (int i = 0; i < kMessages; ++i) expected.push_back(std::to_string(i));
  expected.push_back("--- END ---");
  for (std::size_t t = 0; t < kThreads; ++t) {
    SCOPED_TRACE(paths[t].string());
    ASSERT_FALSE(paths[t].empty());
    drain(*queues[t]);
    EXPECT_EQ(messages(readEvents(paths[t])), expected);
  }
}

// --- The shared file queue --------------------------------------------------

TEST_F(FileLoggerTest, QueueIsUtilityFileLoggerTargetingTheOneSharedFileQueue) {
  std::vector<DispatchQueue> seen(4, DispatchQueue::main());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i] { seen[i] = fileIOQueue(); });
  }
  for (auto& thread : threads) thread.join();
  for (const auto& queue : seen) EXPECT_EQ(queue, fileIOQueue());
  EXPECT_TRUE(fileIOQueue().isSerial());

  FileLogger logger("Queue", FileLogger::LogLocation::appSandbox());
  const DispatchQueue& queue = logger.serialQueue().queue();
  EXPECT_EQ(queue.label(), "file.logger");
  EXPECT_EQ(queue.qos(), DispatchQoS::utility);
  EXPECT_EQ(queue.target(), fileIOQueue());
  FileLogger other("Queue", FileLogger::LogLocation::appSandbox());
  EXPECT_FALSE(other.serialQueue().queue() == queue) << "each logger has its own queue";
}

}  // namespace
}  // namespace zorlan
