#include <gtest/gtest.h>

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

}  // namespace
}  // namespace zorlan
