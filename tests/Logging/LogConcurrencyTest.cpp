// zorlan/Logging/Log.hpp under threads: the loggers replaced by setup while other threads log.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/LoggingTestSupport.hpp"
#include "zorlan/Logging/Log.hpp"

namespace zorlan {
namespace {

namespace fs = std::filesystem;

struct Caller {};
using LogConcurrencyTest = testing::ScratchFolderTest;

TEST_F(LogConcurrencyTest, LoggersReplacedBySetupStayWholeForThreadsUsingThem) {
  rx::BehaviorRelay<std::shared_ptr<const LogConfig>> config(
      std::make_shared<UniformLogConfig>(LogLevelConfig::all));
  Log::setup(dir_ / "app-0.log", asBehaviorReader(config));
  constexpr int kWriters = 4, kMessages = 300, kSetups = 20;
  std::atomic<bool> done{false};
  std::atomic<int> missing{0};
  std::vector<std::thread> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([&] {
      for (int i = 0; i < kMessages || !done.load(); ++i) {
        // A logger taken here stays usable however many setups replace it meanwhile.
        std::shared_ptr<Logger> file = Log::fileLogger();
        if (!file || !Log::consoleLogger()) missing.fetch_add(1);
        if (file) file->log("Writer", LoggerLevel::info, "", "tick", true, {}, 1, "f", "g");
      }
    });
  }
  for (int s = 1; s <= kSetups; ++s) {
    Log::setup(dir_ / ("app-" + std::to_string(s) + ".log"), asBehaviorReader(config));
  }
  done.store(true);
  for (auto& t : writers) t.join();
  EXPECT_EQ(missing.load(), 0);
  Log::playback().info(Caller{}, "last");
  std::vector<std::string> last = testing::logMessages(dir_ / "app-20.log");
  ASSERT_FALSE(last.empty());
  EXPECT_EQ(last.back(), "\U0001F3AC last");
}

}  // namespace
}  // namespace zorlan
