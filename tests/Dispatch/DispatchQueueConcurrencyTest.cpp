#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <thread>
#include <vector>

#include "zorlan/Dispatch/DispatchQueue.hpp"

namespace zorlan {
namespace {

TEST(DispatchQueueConcurrencyTest, ConcurrentAsyncAndSyncAreSerialised) {
  DispatchQueue queue("com.zorlan.test.concurrent");
  long counter = 0;  // unprotected: the queue is the only guard
  std::vector<std::vector<long>> seenByThread(4);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 500; ++i) {
        queue.async([&] { ++counter; });
        if (i % 10 == 0) seenByThread[t].push_back(queue.sync([&] { return ++counter; }));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  std::promise<long> total;
  queue.async([&] { total.set_value(counter); });
  EXPECT_EQ(total.get_future().get(), 4 * (500 + 50));
  for (const auto& seen : seenByThread) {
    for (std::size_t i = 1; i < seen.size(); ++i) EXPECT_LT(seen[i - 1], seen[i]);
  }
}

TEST(DispatchQueueConcurrencyTest, PerSubmitterOrderHoldsUnderContention) {
  DispatchQueue queue("com.zorlan.test.fifo");
  std::vector<std::vector<int>> received(3);
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 1000; ++i) queue.async([&, t, i] { received[t].push_back(i); });
    });
  }
  for (auto& thread : threads) thread.join();
  queue.sync([] {});
  for (const auto& list : received) {
    ASSERT_EQ(list.size(), 1000u);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(list[i], i);
  }
}

TEST(DispatchQueueConcurrencyTest, MainQueueSyncFromWorkersWhileTheHostRunsIt) {
  int counter = 0;
  std::vector<std::thread> workers;
  std::atomic<int> finished{0};
  for (int t = 0; t < 3; ++t) {
    workers.emplace_back([&] {
      for (int i = 0; i < 100; ++i) {
        DispatchQueue::main().sync([&] { ++counter; });
        DispatchQueue::main().async([&] { ++counter; });
      }
      if (finished.fetch_add(1) == 2) DispatchQueue::main().async([] { MainRunLoop::stop(); });
    });
  }
  MainRunLoop::run();
  for (auto& worker : workers) worker.join();
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(counter, 600);
}

// Every pool thread runs global-queue work that syncs onto a serial queue whose
// own drain is still waiting for a pool thread. The callers must get their turn
// without that drain (no thread may sit blocked behind a drain it starves).
TEST(DispatchQueueConcurrencyTest, SyncFromEveryPoolThreadDoesNotStarveTheQueue) {
  const unsigned poolSize = std::max(2u, std::thread::hardware_concurrency());
  DispatchQueue serial("com.zorlan.test.starved");
  std::atomic<unsigned> started{0};
  std::promise<void> gate;
  std::shared_future<void> opened = gate.get_future().share();
  std::vector<int> order;  // guarded by the serial queue
  std::promise<void> allDone;
  std::atomic<unsigned> finished{0};
  for (unsigned i = 0; i < poolSize; ++i) {
    DispatchQueue::global().async([&, i] {
      started.fetch_add(1);
      opened.wait();
      serial.sync([&] { order.push_back(static_cast<int>(i) + 1); });
      if (finished.fetch_add(1) + 1 == poolSize) allDone.set_value();
    });
  }
  while (started.load() < poolSize) std::this_thread::yield();
  serial.async([&] { order.push_back(0); });  // its drain queues behind the busy pool
  gate.set_value();
  // A guard against a hang, not a timing assertion: a starved queue never finishes.
  if (allDone.get_future().wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
    ADD_FAILURE() << "serial queue starved: sync callers never got their turn";
    std::abort();
  }
  serial.sync([] {});
  ASSERT_EQ(order.size(), poolSize + 1);
  EXPECT_EQ(order.front(), 0);  // the earlier async still ran first
}


TEST(DispatchQueueConcurrencyTest, ChildAndTargetWorkNeverOverlapAcrossThreads) {
  DispatchQueue root("com.zorlan.test.shared-root");
  DispatchQueue left("com.zorlan.test.left", DispatchQoS::utility, root);
  DispatchQueue right("com.zorlan.test.right", DispatchQoS::utility, root);
  long counter = 0;  // unprotected: the shared target is the only guard
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      const DispatchQueue& mine = t == 0 ? left : t == 1 ? right : root;
      for (int i = 0; i < 300; ++i) {
        mine.async([&] { ++counter; });
        if (i % 3 == 0) mine.sync([&] { ++counter; });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  left.sync([] {});
  right.sync([] {});
  EXPECT_EQ(root.sync([&] { return counter; }), 3 * (300 + 100));
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
  std::atomic<unsigned> started{0};
  std::promise<void> gate;
  std::shared_future<void> opened = gate.get_future().share();
  long counter = 0;  // guarded by the shared target
  std::promise<void> allDone;
  std::atomic<unsigned> finished{0};
  for (unsigned i = 0; i < poolSize; ++i) {
    DispatchQueue::global().async([&, i] {
      started.fetch_add(1);
      opened.wait();
      children[i].sync([&] { ++counter; });
      if (finished.fetch_add(1) + 1 == poolSize) allDone.set_value();
    });
  }
  while (started.load() < poolSize) std::this_thread::yield();
  gate.set_value();
  // A guard against a hang, not a timing assertion.
  if (allDone.get_future().wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
    ADD_FAILURE() << "child queues starved: sync callers never got their turn";
    std::abort();
  }
  EXPECT_EQ(root.sync([&] { return counter; }), static_cast<long>(poolSize));
}

}  // namespace
}  // namespace zorlan
