// zorlan/Logging/FileLogger.hpp: where its file goes and its name, what it writes in which
// order, and that a folder it cannot make never makes it fail.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>

#include "support/LoggingTestSupport.hpp"
#include "zorlan/Logging/FileLogger.hpp"
#include "zorlan/Platform/Logger.hpp"

namespace zorlan {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::ScopedEnv;

constexpr double kJan31At235959 = 1706745599.0;  // 2024-01-31T23:59:59Z

// A clock the test moves by hand, read on the logger's queue; the date source shares it, as the
// end marker is dated after the logger (and maybe the test's clock) is gone.
using Clock = std::shared_ptr<std::atomic<double>>;
FileLogger::DateSource dates(Clock clock) {
  return [clock] { return Date::fromTimeIntervalSince1970(clock->load()); };
}
FileLogger::DateSource at(double since1970) {
  return dates(std::make_shared<std::atomic<double>>(since1970));
}
void drain(const AsyncDispatcher& queue) {
  queue.sync([] {});
}

// Holds a queue busy until destroyed, so work submitted meanwhile waits.
class QueueGate {
 public:
  explicit QueueGate(const Dispatcher& queue) {
    auto started = std::make_shared<std::promise<void>>();
    queue.dispatch([started, released = released_.get_future().share()] {
      started->set_value();
      released.wait();
    });
    started->get_future().wait();
  }
  ~QueueGate() { released_.set_value(); }

 private:
  std::promise<void> released_;
};

class FileLoggerTest : public testing::ScratchFolderTest {
 protected:
  void SetUp() override {
    ScratchFolderTest::SetUp();
    fs::create_directories(dir_ / "cache");
    cacheHome_.emplace("XDG_CACHE_HOME", (dir_ / "cache").c_str());
    tz_.emplace("TZ", "UTC");
  }
  std::optional<ScopedEnv> cacheHome_, tz_;  // restored after the folder is gone
};

TEST_F(FileLoggerTest, NamesTheFileAfterTheCreationSecondInLocalTime) {
  const std::tuple<const char*, double, const char*> cases[] = {
      {"UTC", kJan31At235959, "20240131235959.log"},
      {"UTC", kJan31At235959 + 0.999, "20240131235959.log"},      // cut, not rounded
      {"UTC", 946684800.0, "20000101000000.log"},                 // every field zero-padded
      {"Asia/Kolkata", kJan31At235959, "20240201052959.log"},     // +05:30, next day
      {"America/New_York", 1719835200.0, "20240701080000.log"}};  // summer time, -04:00
  for (const auto& [timeZone, since1970, expected] : cases) {
    SCOPED_TRACE(expected);
    ScopedEnv tz("TZ", timeZone);
    FileLogger logger(std::string("Names-") + timeZone, FileLogger::LogLocation::appSandbox(),
                      at(since1970));
    ASSERT_TRUE(logger.filePath().has_value());
    EXPECT_EQ(logger.filePath()->filename().string(), expected);
    EXPECT_TRUE(fs::is_regular_file(*logger.filePath()));
  }
}

TEST_F(FileLoggerTest, FolderIsTheUserCacheDirectoryOrARegisteredGroupContainer) {
  const std::pair<const char*, const char*> cases[] = {
      {"@/xdg", "xdg"},  // "@" is the test folder
      {nullptr, "home/.cache"},
      {"relative/cache", "home/.cache"}};  // a relative (or empty) XDG_CACHE_HOME is ignored
  ScopedEnv home("HOME", (dir_ / "home").c_str());
  for (const auto& [xdgCacheHome, expectedUnder] : cases) {
    SCOPED_TRACE(expectedUnder);
    std::string xdg = xdgCacheHome ? xdgCacheHome : "";
    if (!xdg.empty() && xdg[0] == '@') xdg = dir_.string() + xdg.substr(1);
    ScopedEnv env("XDG_CACHE_HOME", xdgCacheHome ? xdg.c_str() : nullptr);
    FileLogger logger("App Logs", FileLogger::LogLocation::appSandbox(), at(kJan31At235959));
    EXPECT_EQ(logger.filePath(), dir_ / expectedUnder / "App Logs" / "20240131235959.log");
  }
  EXPECT_FALSE(fs::exists(fs::current_path() / "relative"));

  FileLogger::registerSharedDataContainer("group.com.zorlan.tests", dir_ / "group");
  EXPECT_EQ(
      FileLogger("Widget", FileLogger::LogLocation::sharedDataContainer("group.com.zorlan.tests"),
                 at(kJan31At235959))
          .filePath(),
      dir_ / "group/Library/Caches/Widget/20240131235959.log");
  FileLogger::unregisterSharedDataContainer("group.com.zorlan.tests");
  EXPECT_EQ(FileLogger::sharedDataContainer("group.com.zorlan.tests"), std::nullopt);
}

TEST_F(FileLoggerTest, AFolderItCannotHaveMakesItWriteNowhereWithoutFailing) {
  // A regular file where a directory must go: even a superuser cannot create folders in it.
  testing::writeFile(dir_ / "blocker", "not a directory");
  FileLogger::registerSharedDataContainer("group.blocked", dir_ / "blocker");
  FileLogger::registerSharedDataContainer("group.other", dir_ / "other");
  using Location = FileLogger::LogLocation;
  const std::string blockedCache = (dir_ / "blocker" / "cache").string();
  // The location, the cache folder it is given, whether it prints that it cannot make its folder
  // (an unregistered group has no folder at all).
  const std::tuple<Location, const char*, bool> cases[] = {
      {Location::sharedDataContainer("group.blocked"), nullptr, true},
      {Location::appSandbox(), blockedCache.c_str(), true},
      {Location::sharedDataContainer("group.unknown"), nullptr, false}};
  for (const auto& [location, cache, prints] : cases) {
    std::optional<ScopedEnv> env;
    if (cache) env.emplace("XDG_CACHE_HOME", cache);
    ::testing::internal::CaptureStdout();
    std::unique_ptr<FileLogger> logger;
    ASSERT_NO_THROW(logger = std::make_unique<FileLogger>("Logs", location));
    EXPECT_EQ(logger->filePath(), std::nullopt);
    EXPECT_NO_THROW(logger->log("goes nowhere"));
    const AsyncDispatcher queue = logger->serialQueue();
    logger.reset();
    drain(queue);  // the end marker, too, goes nowhere
    const std::string printed = ::testing::internal::GetCapturedStdout();
    if (prints) {
      EXPECT_EQ(printed.rfind("Unable to create directory ", 0), 0u) << printed;
      EXPECT_NE(printed.find("blocker"), std::string::npos) << "names the path: " << printed;
      EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1) << printed;
      EXPECT_EQ(printed.back(), '\n');
    } else {
      EXPECT_EQ(printed, "");
    }
  }
  FileLogger::unregisterSharedDataContainer("group.blocked");
  FileLogger::unregisterSharedDataContainer("group.other");
  EXPECT_TRUE(fs::is_empty(dir_ / "cache"));
  EXPECT_FALSE(fs::exists(dir_ / "other"));  // nor in another group's container
}

TEST_F(FileLoggerTest, EventsHoldExactlyTheMessageAndTheMomentOfEncoding) {
  const Clock clock = std::make_shared<std::atomic<double>>(kJan31At235959);
  FileLogger logger("Events", FileLogger::LogLocation::appSandbox(), dates(clock));
  ASSERT_TRUE(logger.filePath());
  {
    QueueGate gate(logger.serialQueue());
    clock->store(1706745600.25);  // when `log` is called
    logger.log("first \"quoted\" \u00e9");
    clock->store(1706745612.5);  // when the queue gets to it
  }
  drain(logger.serialQueue());
  clock->store(1706745700.75);
  logger.log("second");
  drain(logger.serialQueue());
  // Two compact objects joined by "," and a line feed, message first.
  EXPECT_EQ(readFile(*logger.filePath()), R"({"message":"first \"quoted\" )"
                                          "\u00e9"
                                          R"(","loggedAt":1706745612.5},)"
                                          "\n"
                                          R"({"message":"second","loggedAt":1706745700.75})");
}

class RecordingSink final : public LogSink {
 public:
  void log(const LogEvent& event) noexcept override {
    std::lock_guard lock(mutex_);
    seen.push_back(std::string(event.message()) + "|" + std::string(event.eventType()) + "|" +
                   (event.isPublic() ? "public" : "private") + "|" +
                   (event.source() ? "source" : "") + "|" + std::string(event.typeName()));
  }
  std::mutex mutex_;
  std::vector<std::string> seen;
};

TEST_F(FileLoggerTest, EverythingQueuedBeforeDestructionIsWrittenThenTheEndMarker) {
  auto sink = std::make_shared<RecordingSink>();
  auto logger = std::make_unique<FileLogger>("End", FileLogger::LogLocation::appSandbox());
  const fs::path path = logger->filePath().value();
  const AsyncDispatcher queue = logger->serialQueue();
  logger->logger().add(sink);
  logger->log("a");
  drain(queue);
  EXPECT_EQ(testing::logMessages(path), std::vector<std::string>{"a"});
  {
    QueueGate gate(queue);
    logger->log("b");
    logger->log("c");
    logger.reset();  // destroyed while "b" and "c" wait behind the gate
  }
  drain(queue);
  EXPECT_EQ(testing::logMessages(path), (std::vector<std::string>{"a", "b", "c", "--- END ---"}));
  // Its base logger sees public events without type or source.
  EXPECT_EQ(sink->seen, (std::vector<std::string>{
                            "a||public||FileLogEvent", "b||public||FileLogEvent",
                            "c||public||FileLogEvent", "--- END ---||public||FileLogEvent"}));
}

TEST_F(FileLoggerTest, EachLoggerHasItsOwnQueueTargetingTheOneFileQueue) {
  const FileLogger first("Queue", FileLogger::LogLocation::appSandbox());
  const FileLogger second("Queue", FileLogger::LogLocation::appSandbox());
  const DispatchQueue& queue = first.serialQueue().queue();
  EXPECT_EQ(queue.target(), fileIOQueue());
  EXPECT_TRUE(fileIOQueue().isSerial());
  EXPECT_FALSE(second.serialQueue().queue() == queue);
}

}  // namespace
}  // namespace zorlan
