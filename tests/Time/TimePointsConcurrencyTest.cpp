// zorlan/Time/TimePoints.hpp under threads: marks set from eight threads while reports, snapshots
// and traces are taken; every mark is kept once, in time order, each thread's in its own order.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.hpp"
#include "zorlan/Time/TimePoints.hpp"

namespace zorlan {
namespace {

TEST(TimePointsConcurrencyTest, MarksFromEightThreadsAreKeptOnceInTimeOrderWhileReportsAreTaken) {
  constexpr int kThreads = 8;
  constexpr int kMarksPerThread = 300;
  testing::LogCapture capture;
  const auto id = TimePoints::Identifier::videoStartup();
  TimePoints::reset();
  TimePoints::setTimePointLoggingEnabled(true);

  std::atomic<int> running{kThreads};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &id, &running] {
      const auto ref = static_cast<TimePoints::Reference>(1 + t % 5);
      for (int i = 0; i < kMarksPerThread; ++i) {
        TimePoints::setTimePoint(id, std::to_string(t) + ":" + std::to_string(i), ref);
        if (i % 50 == 0) TimePoints::addTimePointInfo(id, "thread " + std::to_string(t));
      }
      running.fetch_sub(1);
    });
  }
  // At least one report, however quickly the markers finish on a loaded
  // machine; as many as fit while they run.
  int reports = 0;
  do {
    TimePoints::printTimePointsWithLanes(id, "[C]");
    const auto snapshot = TimePoints::marks(id);
    for (std::size_t i = 1; i < snapshot.size(); ++i)
      ASSERT_LE(snapshot[i - 1].time, snapshot[i].time);
    (void)TimePoints::traceJSON(id);
    ++reports;
  } while (running.load() > 0);
  for (auto& thread : threads) thread.join();

  const auto marks = TimePoints::marks(id);
  ASSERT_EQ(marks.size(), static_cast<std::size_t>(kThreads * kMarksPerThread));
  std::set<std::string> seen;
  std::map<int, int> lastOfThread;
  for (std::size_t i = 0; i < marks.size(); ++i) {
    if (i > 0) {
      EXPECT_LE(marks[i - 1].time, marks[i].time);
    }
    EXPECT_TRUE(seen.insert(marks[i].description).second) << marks[i].description;
    const auto colon = marks[i].description.find(':');
    const int t = std::stoi(marks[i].description.substr(0, colon));
    const int n = std::stoi(marks[i].description.substr(colon + 1));
    EXPECT_EQ(marks[i].reference, static_cast<TimePoints::Reference>(1 + t % 5));
    if (lastOfThread.contains(t)) {
      EXPECT_EQ(n, lastOfThread[t] + 1);
    }
    lastOfThread[t] = n;
  }
  EXPECT_EQ(TimePoints::infos(id).size(), static_cast<std::size_t>(kThreads * 6));
  EXPECT_GE(reports, 1);
  EXPECT_FALSE(capture.messages().empty());

  TimePoints::setTimePointLoggingEnabled(false);
  TimePoints::reset();
}

}  // namespace
}  // namespace zorlan
