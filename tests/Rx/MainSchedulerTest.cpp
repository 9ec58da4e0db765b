#include "zorlan/Rx/MainScheduler.hpp"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "zorlan/Rx/ConcurrentMainScheduler.hpp"

namespace zorlan::rx {
namespace {

using Log = std::vector<std::string>;

class MainSchedulerTest : public ::testing::Test {
 protected:
  void SetUp() override { MainRunLoop::runUntilIdle(); }
  void TearDown() override { MainRunLoop::runUntilIdle(); }

  static std::function<Disposable()> record(Log& log, std::string entry) {
    return [&log, entry] {
      log.push_back(entry);
      return Disposable();
    };
  }
};

TEST_F(MainSchedulerTest, NestedActionsQueueBehindTheOneRunningInline) {
  auto scheduler = MainScheduler::instance();
  Log log;
  DispatchQueue::main().async([&] {
    scheduler->schedule([&] {
      log.push_back("outer begins");
      scheduler->schedule(record(log, "nested"));  // an action of ours is running: queue it
      log.push_back("outer ends");
      return Disposable();
    });
    log.push_back("returned");
  });
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Log{"outer begins", "outer ends", "returned", "nested"}));
}

TEST_F(MainSchedulerTest, ActionFromTheMainQueueWaitsBehindOnesScheduledEarlierElsewhere) {
  auto scheduler = MainScheduler::instance();
  Log log;
  std::thread([&] { scheduler->schedule(record(log, "from a worker")); }).join();
  DispatchQueue::main().async([&] {
    scheduler->schedule(record(log, "from main"));  // would overtake if run inline
  });
  // Queued in this order: the worker's action, then the main-queue item.
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Log{"from a worker", "from main"}));
}

TEST_F(MainSchedulerTest, WhereEachSchedulerRunsAnActionScheduledFromTheMainQueue) {
  struct Case {
    const char* name;
    std::shared_ptr<ImmediateSchedulerType> scheduler;
    Log expected;
  };
  const Case cases[] = {
      {"instance", MainScheduler::instance(), {"action", "returned"}},
      {"a new main scheduler", std::make_shared<MainScheduler>(), {"action", "returned"}},
      {"asyncInstance", MainScheduler::asyncInstance(), {"returned", "action"}},
      {"concurrent main", ConcurrentMainScheduler::instance(), {"action", "returned"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Log log;
    DispatchQueue::main().async([&] {
      c.scheduler->schedule(record(log, "action"));
      log.push_back("returned");
    });
    MainRunLoop::runUntilIdle();
    EXPECT_EQ(log, c.expected);

    // From off the main queue, every one of them defers to the main queue.
    log.clear();
    c.scheduler->schedule(record(log, "action"));
    log.push_back("returned");
    MainRunLoop::runUntilIdle();
    EXPECT_EQ(log, (Log{"returned", "action"}));
  }
}

TEST_F(MainSchedulerTest, MainThreadInsideAnotherQueueIsNotTheMainQueue) {
  DispatchQueue background("com.zorlan.test.background");
  Log log;
  DispatchQueue::main().async([&] {
    background.sync([&] {
      // On the main thread, but running the background queue.
      EXPECT_FALSE(MainScheduler::isOnMainQueue());
      MainScheduler::instance()->schedule(record(log, "deferred"));
      ConcurrentMainScheduler::instance()->schedule(record(log, "deferred too"));
      log.push_back("sync done");
    });
  });
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Log{"sync done", "deferred", "deferred too"}));
}

TEST_F(MainSchedulerTest, DisposingAQueuedActionKeepsItFromRunning) {
  Log log;
  Disposable cancelled = MainScheduler::instance()->schedule(record(log, "cancelled"));
  Disposable cancelledToo = ConcurrentMainScheduler::instance()->schedule(record(log, "too"));
  MainScheduler::instance()->schedule(record(log, "kept"));
  cancelled.dispose();
  cancelledToo.dispose();
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Log{"kept"}));
  // A cancelled action does not leave the scheduler thinking work is queued.
  DispatchQueue::main().async([&] {
    MainScheduler::instance()->schedule(record(log, "inline"));
    log.push_back("returned");
  });
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Log{"kept", "inline", "returned"}));
}

}  // namespace
}  // namespace zorlan::rx
