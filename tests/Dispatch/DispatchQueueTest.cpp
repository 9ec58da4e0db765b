#include "zorlan/Dispatch/DispatchQueue.hpp"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

namespace zorlan {
namespace {

// Waits until everything submitted to `queue` so far has run.
void flush(const DispatchQueue& queue) {
  std::promise<void> done;
  queue.async([&] { done.set_value(); });
  done.get_future().wait();
}

TEST(DispatchQueueTest, SerialQueueKeepsOrderAndRunsOneAtATime) {
  DispatchQueue queue("com.zorlan.test.order");
  std::vector<int> order;
  int inFlight = 0;
  int maxInFlight = 0;
  for (int i = 0; i < 3000; ++i) {  // more than one drain batch
    queue.async([&, i] {
      maxInFlight = std::max(maxInFlight, ++inFlight);
      order.push_back(i);
      --inFlight;
    });
  }
  flush(queue);
  ASSERT_EQ(order.size(), 3000u);
  for (int i = 0; i < 3000; ++i) ASSERT_EQ(order[i], i);
  EXPECT_EQ(maxInFlight, 1);
}

TEST(DispatchQueueTest, SyncOnIdleQueueRunsOnTheCallingThread) {
  DispatchQueue queue("com.zorlan.test.inline");
  std::thread::id ran;
  queue.sync([&] { ran = std::this_thread::get_id(); });
  EXPECT_EQ(ran, std::this_thread::get_id());
}

TEST(DispatchQueueTest, SyncWaitsForEarlierWorkThenRunsOnTheCallingThread) {
  DispatchQueue queue("com.zorlan.test.wait");
  std::promise<void> gate;
  std::shared_future<void> opened = gate.get_future().share();
  std::vector<int> seen;
  queue.async([opened] { opened.wait(); });
  for (int i = 0; i < 10; ++i) queue.async([&, i] { seen.push_back(i); });
  auto result = std::async(std::launch::async, [&] {
    return queue.sync([&] { return std::make_pair(seen.size(), std::this_thread::get_id()); });
  });
  gate.set_value();
  auto [count, thread] = result.get();
  EXPECT_EQ(count, 10u);  // everything submitted before the sync ran first
  EXPECT_NE(thread, std::this_thread::get_id());  // ran on the async caller's thread...
}

TEST(DispatchQueueTest, SyncReturnsValuesAndRethrows) {
  DispatchQueue queue("com.zorlan.test.values");
  EXPECT_EQ(queue.sync([] { return std::string("value"); }), "value");
  EXPECT_THROW(queue.sync([]() -> int { throw std::runtime_error("boom"); }),
               std::runtime_error);
  // The queue is usable after a throwing sync.
  EXPECT_EQ(queue.sync([] { return 7; }), 7);
  // A reference result refers to the original, not to a copy.
  std::vector<int> stored{1, 2};
  std::vector<int>& same = queue.sync([&]() -> std::vector<int>& { return stored; });
  EXPECT_EQ(&same, &stored);
  // A child queue's sync (which waits for its target) rethrows too.
  DispatchQueue child("com.zorlan.test.values-child", DispatchQoS::unspecified, queue);
  EXPECT_THROW(child.sync([] { throw std::out_of_range("child"); }), std::out_of_range);
  EXPECT_EQ(child.sync([] { return 8; }), 8);
  flush(queue);
}

TEST(DispatchQueueTest, QueuesTargetingOneSerialQueueNeverOverlap) {
  DispatchQueue root("com.zorlan.test.root");
  DispatchQueue a("com.zorlan.test.a", DispatchQoS::utility, root);
  DispatchQueue b("com.zorlan.test.b", DispatchQoS::utility, root);
  EXPECT_EQ(a.target(), root);
  int inFlight = 0;
  int maxInFlight = 0;
  int total = 0;
  auto work = [&] {
    maxInFlight = std::max(maxInFlight, ++inFlight);
    ++total;
    --inFlight;
  };
  for (int i = 0; i < 500; ++i) {
    a.async(work);
    b.async(work);
    if (i % 50 == 0) a.sync(work);
  }
  flush(a);
  flush(b);
  flush(root);
  EXPECT_EQ(total, 1010);
  EXPECT_EQ(maxInFlight, 1);
}

TEST(DispatchQueueTest, SpecificsAreFoundThroughTargetsForTheCurrentQueueOnly) {
  DispatchSpecificKey<std::string> key;
  DispatchSpecificKey<std::string> otherKey;
  DispatchQueue root("com.zorlan.test.specific-root");
  DispatchQueue child("com.zorlan.test.specific-child", DispatchQoS::unspecified, root);
  root.setSpecific(key, std::string("root"));
  EXPECT_EQ(root.getSpecific(key), "root");
  EXPECT_EQ(child.getSpecific(key), std::nullopt);  // not on the queue itself
  EXPECT_EQ(DispatchQueue::currentSpecific(key), std::nullopt);  // on no queue

  EXPECT_EQ(child.sync([&] { return DispatchQueue::currentSpecific(key); }), "root");
  EXPECT_EQ(child.sync([&] { return DispatchQueue::currentSpecific(otherKey); }), std::nullopt);
  std::promise<std::optional<std::string>> onGlobal;
  DispatchQueue::global().async([&] { onGlobal.set_value(DispatchQueue::currentSpecific(key)); });
  EXPECT_EQ(onGlobal.get_future().get(), std::nullopt);

  // Keys of other value types are other keys too.
  DispatchSpecificKey<int> intKey;
  DispatchSpecificKey<bool> boolKey;
  root.setSpecific(intKey, 7);
  EXPECT_EQ(root.getSpecific(boolKey), std::nullopt);
  EXPECT_EQ(root.getSpecific(intKey), 7);

  child.setSpecific(key, std::string("child"));
  EXPECT_EQ(child.sync([&] { return DispatchQueue::currentSpecific(key); }), "child");
  child.removeSpecific(key);
  EXPECT_EQ(child.sync([&] { return DispatchQueue::currentSpecific(key); }), "root");
}

TEST(DispatchQueueTest, DefaultTargetIsTheGlobalQueueOfTheQoS) {
  DispatchQueue utility("com.zorlan.test.qos", DispatchQoS::utility);
  EXPECT_EQ(utility.target(), DispatchQueue::global(DispatchQoS::utility));
  DispatchQueue plain("com.zorlan.test.plain");
  EXPECT_EQ(plain.target(), DispatchQueue::global(DispatchQoS::standard));
  EXPECT_EQ(DispatchQueue::global(DispatchQoS::unspecified), DispatchQueue::global());
  EXPECT_FALSE(DispatchQueue::global().isSerial());
  EXPECT_EQ(plain.label(), "com.zorlan.test.plain");
}

TEST(DispatchQueueTest, CancelledWorkItemNeverRuns) {
  DispatchQueue queue("com.zorlan.test.cancel");
  std::promise<void> gate;
  std::shared_future<void> opened = gate.get_future().share();
  bool ran = false;
  bool ranKept = false;
  queue.async([opened] { opened.wait(); });
  DispatchWorkItem cancelled([&] { ran = true; });
  DispatchWorkItem kept([&] { ranKept = true; });
  queue.async(cancelled);
  queue.async(kept);
  cancelled.cancel();
  gate.set_value();
  flush(queue);
  EXPECT_FALSE(ran);
  EXPECT_TRUE(ranKept);
  EXPECT_TRUE(cancelled.isCancelled());
}

using DispatchQueueDeathTest = ::testing::Test;

TEST(DispatchQueueDeathTest, SyncOntoTheRunningQueueStopsInsteadOfHanging) {
  EXPECT_DEATH(
      {
        DispatchQueue queue("com.zorlan.test.self");
        queue.sync([&] { queue.sync([] {}); });
      },
      "Precondition failed: sync onto queue \"com.zorlan.test.self\".*would deadlock");
  EXPECT_DEATH(
      {
        DispatchQueue root("com.zorlan.test.outer");
        DispatchQueue child("com.zorlan.test.inner", DispatchQoS::unspecified, root);
        child.sync([&] { root.sync([] {}); });
      },
      "would deadlock");
}

}  // namespace
}  // namespace zorlan
