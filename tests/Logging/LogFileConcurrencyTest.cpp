// zorlan/Logging/LogFile.hpp, FileLogger.hpp under several threads: nothing lost or torn,
// groups of waiting events bounded as one-by-one appends would be, shared writers, and files
// changed behind the library's back.
#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <future>
#include <thread>

#include "Logging/LogFileStorage.hpp"
#include "support/LoggingTestSupport.hpp"
#include "zorlan/Logging/FileLogger.hpp"
#include "zorlan/Logging/LogFile.hpp"

namespace zorlan {
namespace {

namespace fs = std::filesystem;
using testing::LogFileModel;
using testing::logMessages;
using testing::readFile;
using LogFileConcurrencyTest = testing::ScratchFolderTest;

std::string event(const std::string& message) { return R"({"message":")" + message + R"("})"; }

// Messages "<writer>:<n>" hold each writer's n in order base, base + 1... (`next` counts them).
void expectEachWriterInOrder(const std::vector<std::string>& messages, std::vector<int>& next,
                             int base = 0) {
  for (const auto& message : messages) {
    const std::size_t colon = message.find(':');
    const int t = std::stoi(message.substr(0, colon));
    ASSERT_TRUE(t >= 0 && t < static_cast<int>(next.size())) << message;
    EXPECT_EQ(std::stoi(message.substr(colon + 1)), base + next[t]++) << message;
  }
}

TEST_F(LogFileConcurrencyTest, WritersOnEveryThreadLoseAndTearNothing) {
  // Half the threads log events, half append encoded ones from their own thread: every event
  // arrives whole, in each writer's order.
  const fs::path path = dir_ / "threads.log";
  constexpr int kThreads = 4, kEvents = 2000;
  {
    auto file = LogFile::open(path, 52'428'800);
    Logger logger;
    logger.setEnabled(true);
    logger.add(file);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < kEvents; ++i) {
          const std::string message = std::to_string(t) + ":" + std::to_string(i);
          if (t % 2 == 0) {
            logger.log("writer", LoggerLevel::info, "", message, true, {}, i, "file", "function");
          } else {
            file->append(event(message));
          }
        }
      });
    }
    for (auto& thread : threads) thread.join();
  }
  const auto messages = logMessages(path);
  ASSERT_EQ(messages.size(), static_cast<std::size_t>(kThreads * kEvents));
  std::vector<int> next(kThreads, 0);
  expectEachWriterInOrder(messages, next);
}

TEST_F(LogFileConcurrencyTest, GroupsCrossingTheBoundRefuseWhatOneByOneWould) {
  // One write for a group of events: each is checked against the size the ones before it left
  // (a refused event takes no room, a later smaller one may fit), failures are reported per
  // event in order, and a failed write fails the group's events as appending each alone would.
  const fs::path sub = dir_ / "later", path = sub / "group.log";
  std::vector<std::string> reports;
  detail::LogFileStorage storage(path, 0, 10, [&](const std::string& line) {
    reports.push_back(line.substr(0, line.find(" at: ")));
  });
  LogFileModel model{"", 0, 30};
  const auto group = [&](const std::vector<std::string>& events, bool writable) {
    std::vector<std::string> chunks;
    std::vector<detail::LogFileBatchEntry> entries(events.size());
    std::vector<detail::LogFileBatchEntry*> pointers;
    for (std::size_t i = 0; i < events.size(); ++i) chunks.push_back("??" + events[i]);
    for (std::size_t i = 0; i < events.size(); ++i) {
      auto& entry = entries[i];
      entry.bytes = std::string_view(chunks[i]).substr(2);
      if (i % 2 == 0) entry.scratch = chunks[i].data();  // either way of handing bytes over
      entry.context = &reports;
      entry.onFailure = [](const detail::LogFileBatchEntry& e, LogFileError::Code code) {
        static_cast<std::vector<std::string>*>(const_cast<void*>(e.context))
            ->push_back(std::string(e.bytes) + " " + LogFileError(code).what());
      };
      pointers.push_back(&entry);
    }
    reports.clear();
    storage.appendBatch(pointers);
    std::vector<std::string> expected;
    for (std::size_t i = 0; i < events.size(); ++i) {
      const bool fits = model.append(events[i]);
      std::optional<LogFileError::Code> code;
      if (!fits) code = LogFileError::Code::full;
      if (fits && !writable) code = LogFileError::Code::writing;
      if (code == LogFileError::Code::writing) expected.push_back("failed appending data");
      if (code) expected.push_back(events[i] + " " + LogFileError(*code).what());
      EXPECT_EQ(entries[i].error, code) << events[i];
    }
    EXPECT_EQ(reports, expected);
    EXPECT_EQ(storage.currentSize(), model.size);
    EXPECT_EQ(readFile(path), writable ? model.content : "");
  };
  // The folder is missing: every write fails, and the next one carries the events the failed
  // ones held.
  group({"{\"a\":1}", "{\"b\":22}"}, false);
  fs::create_directories(sub);
  // 17 bytes counted so far (7 + 2 + 8) of 30; then 26: the 10-byte event is refused, the
  // 3-byte one after it fits (29: the bound counts the event, not its separator), the next
  // would reach the bound.
  group({"{\"c\":3}", "{\"d\":4444}", "123", "2"}, true);
  group({"x", "y"}, true);
}

TEST_F(LogFileConcurrencyTest, EventsWaitingForAWriteGoOutTogetherUpToTheBound) {
  // Each round, one thread's write is held up on the file's queue while the others' events
  // wait, so they go out as one group. Every event is in the file when its call returns; the
  // group in which the file fills accepts exactly as many events as appending one at a time
  // would, the rest fail with `full`; the file holds the accepted events in each thread's order.
  constexpr int kThreads = 5, kRounds = 8;
  const fs::path path = dir_ / "groups.log";
  auto message = [](int thread, int round) {
    return std::to_string(thread) + ":" + std::to_string(100 + round);
  };
  LogFileModel model{"", 0, 3 * 130};  // 18 events of 19 bytes fit: mid-group in round 4
  int fitting = 0;
  while (model.append(event(message(0, 0)))) ++fitting;
  ASSERT_EQ(fitting, 18);
  auto file = LogFile::open(path, 130);
  std::barrier rounds(kThreads + 1);
  std::vector<std::vector<bool>> accepted(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        rounds.arrive_and_wait();
        const std::string text = message(t, round);
        try {
          file->append(event(text));
          accepted[t].push_back(true);
          EXPECT_NE(readFile(path).find(text), std::string::npos) << "returned before written";
        } catch (const LogFileError& error) {
          EXPECT_EQ(error.code(), LogFileError::Code::full);
          accepted[t].push_back(false);
        }
        rounds.arrive_and_wait();
      }
    });
  }
  for (int round = 0; round < kRounds; ++round) {
    // The first thread's write waits for the queue, the others for it. Once the first write is
    // through, the group's write waits too (when the first thread got into the queue before the
    // group's hold was posted, as it almost always does): a caller returning meanwhile would
    // miss its event.
    std::promise<void> first, group;
    file->queue().async(
        [&file, held = first.get_future().share(), then = group.get_future().share()] {
          held.wait();
          file->queue().async([then] { then.wait(); });
        });
    rounds.arrive_and_wait();
    for (long spins = 0; detail::waitingLogFileEvents(path) < kThreads - 1; ++spins) {
      if (spins == 50'000'000) {
        ADD_FAILURE() << "events never waited in round " << round;
        break;
      }
      std::this_thread::yield();
    }
    first.set_value();
    for (long spins = 0; detail::waitingLogFileEvents(path) > 0 && spins < 1'000'000; ++spins) {
      std::this_thread::yield();
    }
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    group.set_value();
    rounds.arrive_and_wait();
  }
  for (auto& thread : threads) thread.join();
  const auto messages = logMessages(path);
  EXPECT_EQ(messages.size(), static_cast<std::size_t>(fitting));
  std::vector<int> next(kThreads, 0);
  expectEachWriterInOrder(messages, next, 100);
  for (int t = 0; t < kThreads; ++t) {
    // Accepted events come first (a full file stays full); all are in the file.
    const auto firstRefused = std::find(accepted[t].begin(), accepted[t].end(), false);
    EXPECT_EQ(std::find(firstRefused, accepted[t].end(), true), accepted[t].end());
    EXPECT_EQ(firstRefused - accepted[t].begin(), next[t]);
  }
}

TEST_F(LogFileConcurrencyTest, AppendRightAfterOpeningFollowsTheEventsAlreadyInTheFile) {
  // The events already in the file are loaded on the file's queue; an append from the caller's
  // thread must come after them, never over them.
  const std::string old = event("old 1") + ",\n" + event("old 2");
  for (int trial = 0; trial < 20; ++trial) {
    const fs::path path = dir_ / ("existing-" + std::to_string(trial) + ".log");
    testing::writeFile(path, old);
    auto file = LogFile::open(path, 52'428'800);
    file->append(event("new"));
    EXPECT_EQ(readFile(path), old + ",\n" + event("new")) << "trial " << trial;
  }
}

TEST_F(LogFileConcurrencyTest, LoggersOpeningOneFileShareItsWriter) {
  // Two file loggers created within one second name the same file: both write whole events into
  // it, from their own threads, and neither loses any. A logger a second later gets a file of
  // its own.
  FileLogger::registerSharedDataContainer("group.shared", dir_);
  const auto clock = [](double offset) {
    return [date = Date::fromTimeIntervalSince1970(1706745599.0 + offset)] { return date; };
  };
  const auto location = FileLogger::LogLocation::sharedDataContainer("group.shared");
  constexpr int kMessages = 300;
  std::vector<std::optional<AsyncDispatcher>> queues;
  std::vector<std::optional<fs::path>> paths;
  {
    FileLogger first("Shared", location, clock(0.1)), second("Shared", location, clock(0.9)),
        next("Shared", location, clock(1.0));
    ASSERT_TRUE(first.filePath() && second.filePath() && next.filePath());
    EXPECT_EQ(*first.filePath(), *second.filePath());
    EXPECT_NE(*first.filePath(), *next.filePath());
    paths = {first.filePath(), next.filePath()};
    queues = {first.serialQueue(), second.serialQueue(), next.serialQueue()};
    std::thread other([&] {
      for (int i = 0; i < kMessages; ++i) second.log("1:" + std::to_string(i));
    });
    for (int i = 0; i < kMessages; ++i) first.log("0:" + std::to_string(i));
    other.join();
  }
  for (auto& queue : queues) queue->sync([] {});
  std::vector<std::string> written = logMessages(*paths[0]);
  EXPECT_EQ(std::erase(written, "--- END ---"), 2u);
  std::vector<int> next(2, 0);
  expectEachWriterInOrder(written, next);
  EXPECT_EQ(next, (std::vector<int>{kMessages, kMessages}));
  EXPECT_EQ(logMessages(*paths[1]), std::vector<std::string>{"--- END ---"});
  FileLogger::unregisterSharedDataContainer("group.shared");
}

TEST_F(LogFileConcurrencyTest, FileDeletedOrReplacedFromOutsideIsWrittenAnew) {
  // Whatever happened to the file at the path, the next write leaves there every event the file
  // holds, as rewriting the whole file would, and at verbosity 2 says so.
  const std::pair<const char*, void (*)(const fs::path&, const fs::path&)> cases[] = {
      {"moved away",
       [](const fs::path& path, const fs::path& dir) { fs::rename(path, dir / "r"); }},
      {"replaced", [](const fs::path& path, const fs::path& dir) {
         testing::writeFile(dir / "other", "not a log");
         fs::rename(dir / "other", path);
       }}};
  const std::uint8_t verbosity = Logger::shared().verbosity();
  Logger::shared().setVerbosity(2);
  const auto interval = logFilePathCheckInterval();
  setLogFilePathCheckInterval(std::chrono::nanoseconds(0));  // ask before every write
  for (const auto& [name, outside] : cases) {
    SCOPED_TRACE(name);
    const fs::path path = dir_ / (std::string(name) + ".log");
    auto file = LogFile::open(path, 52'428'800);
    file->append(event("1"));
    file->append(event("2"));
    outside(path, dir_);
    ::testing::internal::CaptureStdout();
    file->append(event("3"));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "log file deleted or replaced on disk, writing it anew at: " + path.string() + "\n");
    EXPECT_EQ(logMessages(path), (std::vector<std::string>{"1", "2", "3"}));
    file->append(event("4"));
    EXPECT_EQ(logMessages(path), (std::vector<std::string>{"1", "2", "3", "4"}));
  }
  setLogFilePathCheckInterval(interval);
  Logger::shared().setVerbosity(verbosity);
}

}  // namespace
}  // namespace zorlan
