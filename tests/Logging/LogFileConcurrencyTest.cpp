#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <thread>

#include "zorlan/Logging/LogFile.hpp"
#include "zorlan/Logging/LogFileReader.hpp"

namespace zorlan {
namespace {

namespace fs = std::filesystem;

TEST(LogFileConcurrencyTest, EightWritersLoseAndTearNothing) {
  fs::path dir = fs::temp_directory_path() / ("zorlan-logfile-mt-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  fs::path path = dir / "threads.log";
  constexpr int kThreads = 8;
  constexpr int kEvents = 10000;
  {
    auto file = LogFile::open(path, 52'428'800);
    Logger logger;
    logger.setEnabled(true);
    logger.add(file);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < kEvents; ++i) {
          logger.log("writer", LoggerLevel::info, "", std::to_string(t) + ":" + std::to_string(i),
                     true, {}, i, "file", "function");
        }
      });
    }
    for (auto& thread : threads) thread.join();
  }
  std::ifstream in(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  auto contents = readLogFile(bytes);
  EXPECT_FALSE(contents.error);
  EXPECT_FALSE(contents.truncatedAt);
  ASSERT_EQ(contents.entries.size(), static_cast<std::size_t>(kThreads * kEvents));
  std::vector<int> next(kThreads, 0);
  for (const auto& entry : contents.entries) {
    auto colon = entry.message.find(':');
    int t = std::stoi(entry.message.substr(0, colon));
    EXPECT_EQ(std::stoi(entry.message.substr(colon + 1)), next[t]++);  // per-writer order
  }
  fs::remove_all(dir);
}

}  // namespace
}  // namespace zorlan
