// zorlan/Rx/ConcurrentDispatchQueueScheduler.hpp: actions run in parallel on the global queue,
// while the firings of one periodic action never overlap.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <latch>
#include <thread>
#include <vector>

#include "zorlan/Rx/ConcurrentDispatchQueueScheduler.hpp"

namespace zorlan::rx {
namespace {

TEST(ConcurrentDispatchQueueSchedulerConcurrencyTest, ActionsRunInParallelOnTheGlobalQueue) {
  // Two actions that each wait for the other can only finish in parallel.
  ConcurrentDispatchQueueScheduler scheduler(DispatchQoS::userInitiated);
  std::latch met(2);
  std::latch finished(2);
  auto meet = [&] {
    met.arrive_and_wait();
    finished.count_down();
    return Disposable();
  };
  scheduler.schedule(meet);
  scheduler.schedule(meet);
  finished.wait();
}

TEST(ConcurrentDispatchQueueSchedulerConcurrencyTest, PeriodicFiringsNeverOverlap) {
  ConcurrentDispatchQueueScheduler scheduler(DispatchQoS::standard);
  struct Record {  // shared: a firing under way at disposal may outlive the test body
    std::atomic<int> inFlight{0};
    std::atomic<int> maxInFlight{0};
    std::atomic<int> fired{0};
    std::promise<void> enough;
  };
  auto record = std::make_shared<Record>();
  std::future<void> enough = record->enough.get_future();
  Disposable periodic =
      scheduler.schedulePeriodic(RxTimeInterval::zero(), std::chrono::microseconds(1), [record] {
        int now = record->inFlight.fetch_add(1) + 1;
        int seen = record->maxInFlight.load();
        while (now > seen && !record->maxInFlight.compare_exchange_weak(seen, now)) {
        }
        std::this_thread::yield();  // give a second firing the chance to overlap
        if (record->fired.fetch_add(1) + 1 == 200) record->enough.set_value();
        record->inFlight.fetch_sub(1);
      });
  enough.wait();
  periodic.dispose();
  EXPECT_EQ(record->maxInFlight.load(), 1);
}

}  // namespace
}  // namespace zorlan::rx
