// zorlan/Dispatch/DispatchQueue.hpp, DispatchSourceTimer.hpp under threads: serialisation across
// submitters, sync onto the main queue, no starvation of the pool, timers that reschedule
// themselves.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Dispatch/DispatchSourceTimer.hpp"

namespace zorlan {
namespace {

// Two submitters share `left`; `right` and `root` have one each; all of them end up on `root`,
// so nothing overlaps and each submitter's order holds, across more than one drain batch.
TEST(DispatchQueueConcurrencyTest, AsyncAndSyncFromManyThreadsAreSerialisedInSubmitterOrder) {
  constexpr int kPerThread = 1100;
  DispatchQueue root("com.zorlan.test.shared-root");
  DispatchQueue left("com.zorlan.test.left", DispatchQoS::utility, root);
  DispatchQueue right("com.zorlan.test.right", DispatchQoS::utility, root);
  const DispatchQueue* queues[] = {&left, &left, &right, &root};
  long counter = 0;  // unprotected: the shared target is the only guard
  int inFlight = 0;
  int maxInFlight = 0;
  std::vector<std::vector<int>> received(4);
  std::vector<std::vector<long>> seenBySync(4);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) {
        queues[t]->async([&, t, i] {
          maxInFlight = std::max(maxInFlight, ++inFlight);
          ++counter;
          received[t].push_back(i);
          --inFlight;
        });
        if (i % 10 == 0) seenBySync[t].push_back(queues[t]->sync([&] { return ++counter; }));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  left.sync([] {});
  right.sync([] {});
  EXPECT_EQ(root.sync([&] { return counter; }), 4 * (kPerThread + kPerThread / 10));
  EXPECT_EQ(maxInFlight, 1);
  for (int t = 0; t < 4; ++t) {
    ASSERT_EQ(received[t].size(), std::size_t{kPerThread});
    for (int i = 0; i < kPerThread; ++i) ASSERT_EQ(received[t][i], i);
    for (std::size_t i = 1; i < seenBySync[t].size(); ++i) {
      EXPECT_LT(seenBySync[t][i - 1], seenBySync[t][i]);
    }
  }
}

// Runs `work(i)` for i in [0, n) on n global-queue work items that all start
// (occupying the whole pool) before any of them goes on; fails the test
// instead of hanging when they do not all finish.
template <class Work>
void onEveryPoolThreadAtOnce(unsigned n, std::function<void()> beforeRelease, Work work) {
  std::atomic<unsigned> started{0};
  std::promise<void> gate;
  std::shared_future<void> opened = gate.get_future().share();
  std::promise<void> allDone;
  std::atomic<unsigned> finished{0};
  for (unsigned i = 0; i < n; ++i) {
    DispatchQueue::global().async([&, i] {
      started.fetch_add(1);
      opened.wait();
      work(i);
      if (finished.fetch_add(1) + 1 == n) allDone.set_value();
    });
  }
  while (started.load() < n) std::this_thread::yield();
  beforeRelease();
  gate.set_value();
  // A guard against a hang, not a timing assertion: a starved queue never finishes.
  if (allDone.get_future().wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
    ADD_FAILURE() << "starved: sync callers never got their turn";
    std::abort();
  }
}

// Workers sync onto the main queue (on their own threads) while the host runs
// it; the last one stops the host's run.
TEST(DispatchQueueConcurrencyTest, MainQueueSyncFromWorkersWhileTheHostRunsIt) {
  int counter = 0;
  std::vector<std::thread> workers;
  std::atomic<int> finished{0};
  std::atomic<bool> syncOnOtherThread{false};
  for (int t = 0; t < 3; ++t) {
    workers.emplace_back([&] {
      for (int i = 0; i < 100; ++i) {
        const auto self = std::this_thread::get_id();
        DispatchQueue::main().sync([&] {
          ++counter;
          if (std::this_thread::get_id() != self) syncOnOtherThread = true;
        });
        DispatchQueue::main().async([&] { ++counter; });
      }
      if (finished.fetch_add(1) == 2) DispatchQueue::main().async([] { MainRunLoop::stop(); });
    });
  }
  MainRunLoop::run();
  for (auto& worker : workers) worker.join();
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(counter, 600);
  EXPECT_FALSE(syncOnOtherThread.load());
}

// Every pool thread runs global-queue work that syncs onto a queue whose
// pending work still waits for a drain that needs a pool thread: a serial
// queue, and a queue targeting one (whose drain is the target's). The callers
// must get their turn anyway: no thread may sit blocked behind a drain it
// starves.
TEST(DispatchQueueConcurrencyTest, SyncFromEveryPoolThreadDoesNotStarveTheQueue) {
  const unsigned poolSize = std::max(2u, std::thread::hardware_concurrency());
  DispatchQueue root("com.zorlan.test.starved");
  DispatchQueue child("com.zorlan.test.starved-child", DispatchQoS::unspecified, root);
  for (const DispatchQueue* queue : {&root, &child}) {
    SCOPED_TRACE(queue->label());
    std::vector<int> order;  // guarded by the queue
    onEveryPoolThreadAtOnce(
        poolSize,
        [&] { queue->async([&] { order.push_back(0); }); },  // its drain queues behind the pool
        [&](unsigned i) { queue->sync([&] { order.push_back(static_cast<int>(i) + 1); }); });
    queue->sync([] {});
    ASSERT_EQ(order.size(), poolSize + 1);
    EXPECT_EQ(order.front(), 0);  // the earlier async still ran first
  }
}

// Every pool thread syncs onto its own idle queue, all of them targeting one
// serial queue: each caller holds the chain on its own thread in turn, with
// no pool thread needed to reach it.
TEST(DispatchQueueConcurrencyTest, SyncOntoIdleChildQueuesFromEveryPoolThreadNeedsNoPoolThread) {
  const unsigned poolSize = std::max(2u, std::thread::hardware_concurrency());
  DispatchQueue root("com.zorlan.test.busy-root");
  std::vector<DispatchQueue> children;
  for (unsigned i = 0; i < poolSize; ++i) {
    children.emplace_back("com.zorlan.test.child", DispatchQoS::unspecified, root);
  }
  long counter = 0;  // guarded by the shared target
  onEveryPoolThreadAtOnce(
      poolSize, [] {}, [&](unsigned i) { children[i].sync([&] { ++counter; }); });
  EXPECT_EQ(root.sync([&] { return counter; }), static_cast<long>(poolSize));
}

// A handler on a concurrent queue that reschedules its own timer to fire at
// once: the new firing waits for the running one to return.
TEST(DispatchSourceTimerConcurrencyTest, RescheduleFromTheRunningHandlerNeverOverlapsIt) {
  DispatchSourceTimer timer(DispatchQueue::global());
  std::atomic<int> inFlight{0};
  std::atomic<int> maxInFlight{0};
  std::atomic<int> started{0};
  std::atomic<int> finished{0};
  std::promise<void> bothFinished;
  timer.setEventHandler([&] {
    const int now = inFlight.fetch_add(1) + 1;
    int seen = maxInFlight.load();
    while (now > seen && !maxInFlight.compare_exchange_weak(seen, now)) {
    }
    if (started.fetch_add(1) == 0) {
      timer.schedule(DispatchTime::now());
      // The pool takes up whatever that armed before this marker, queued
      // behind it, runs.
      std::promise<void> marker;
      DispatchQueue::global().async([&] { marker.set_value(); });
      marker.get_future().wait();
    }
    inFlight.fetch_sub(1);
    if (finished.fetch_add(1) + 1 == 2) bothFinished.set_value();
  });
  timer.schedule(DispatchTime::now());
  timer.resume();
  // A guard against a hang, not a timing assertion.
  if (bothFinished.get_future().wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
    ADD_FAILURE() << "the rescheduled firing never came";
    std::abort();
  }
  EXPECT_EQ(maxInFlight.load(), 1);
}

}  // namespace
}  // namespace zorlan
