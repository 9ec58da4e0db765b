// zorlan/Dispatch/DispatchQueue.hpp, DispatchWorkItem.hpp, DispatchSpecificKey.hpp: serial
// order across targets, sync semantics, specifics, cancellation, and queues at process exit.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>

#include "zorlan/Dispatch/DispatchQueue.hpp"

namespace zorlan {
namespace {

// Holds `queue` busy, its drain under way on a pool thread, until the returned promise is set.
std::promise<void> hold(const DispatchQueue& queue) {
  std::promise<void> gate;
  auto started = std::make_shared<std::promise<void>>();
  queue.async([opened = gate.get_future().share(), started] {
    started->set_value();
    opened.wait();
  });
  started->get_future().wait();
  return gate;
}

TEST(DispatchQueueTest, SyncWaitsForEarlierWorkThenRunsOnTheCallingThread) {
  DispatchQueue queue("com.zorlan.test.wait");
  EXPECT_EQ(queue.sync([] { return std::this_thread::get_id(); }), std::this_thread::get_id());
  std::promise<void> gate = hold(queue);
  std::vector<int> seen;
  for (int i = 0; i < 10; ++i) queue.async([&, i] { seen.push_back(i); });
  std::promise<void> calling;
  auto result = std::async(std::launch::async, [&] {
    calling.set_value();  // then waits behind the held work, not taking the queue over
    auto [count, ranOn] =
        queue.sync([&] { return std::make_pair(seen.size(), std::this_thread::get_id()); });
    return std::make_pair(count, ranOn == std::this_thread::get_id());
  });
  calling.get_future().wait();
  gate.set_value();
  auto [count, onCaller] = result.get();
  EXPECT_EQ(count, 10u);  // everything submitted before the sync ran first
  EXPECT_TRUE(onCaller);
}

TEST(DispatchQueueTest, SyncReturnsValuesAndRethrowsAndQueuesTargetTheirQoS) {
  DispatchQueue queue("com.zorlan.test.values");
  EXPECT_EQ(queue.sync([] { return std::string("value"); }), "value");
  EXPECT_THROW(queue.sync([]() -> int { throw std::runtime_error("boom"); }), std::runtime_error);
  EXPECT_EQ(queue.sync([] { return 7; }), 7);  // still usable after a throwing sync
  // A reference result refers to the original, not to a copy.
  std::vector<int> stored{1, 2};
  std::vector<int>& same = queue.sync([&]() -> std::vector<int>& { return stored; });
  EXPECT_EQ(&same, &stored);
  // A child queue's sync (which waits for its target) rethrows too.
  DispatchQueue child("com.zorlan.test.values-child", DispatchQoS::unspecified, queue);
  EXPECT_THROW(child.sync([] { throw std::out_of_range("child"); }), std::out_of_range);
  // A queue given no target targets the global queue of its QoS.
  EXPECT_EQ(DispatchQueue("com.zorlan.test.qos", DispatchQoS::utility).target(),
            DispatchQueue::global(DispatchQoS::utility));
}

TEST(DispatchQueueTest, SpecificsAreFoundThroughTargetsForTheCurrentQueueOnly) {
  DispatchSpecificKey<std::string> key;
  DispatchSpecificKey<std::string> otherKey;
  DispatchQueue root("com.zorlan.test.specific-root");
  DispatchQueue child("com.zorlan.test.specific-child", DispatchQoS::unspecified, root);
  root.setSpecific(key, std::string("root"));
  EXPECT_EQ(root.getSpecific(key), "root");
  EXPECT_EQ(child.getSpecific(key), std::nullopt);               // not on the queue itself
  EXPECT_EQ(DispatchQueue::currentSpecific(key), std::nullopt);  // on no queue
  EXPECT_EQ(child.sync([&] { return DispatchQueue::currentSpecific(key); }), "root");
  EXPECT_EQ(child.sync([&] { return DispatchQueue::currentSpecific(otherKey); }), std::nullopt);
  std::promise<std::optional<std::string>> onGlobal;
  DispatchQueue::global().async([&] { onGlobal.set_value(DispatchQueue::currentSpecific(key)); });
  EXPECT_EQ(onGlobal.get_future().get(), std::nullopt);
  child.setSpecific(key, std::string("child"));
  EXPECT_EQ(child.sync([&] { return DispatchQueue::currentSpecific(key); }), "child");
  child.removeSpecific(key);
  EXPECT_EQ(child.sync([&] { return DispatchQueue::currentSpecific(key); }), "root");
}

TEST(DispatchQueueTest, CancelledWorkItemNeverRuns) {
  DispatchQueue queue("com.zorlan.test.cancel");
  std::promise<void> gate = hold(queue);
  std::vector<std::string> ran;
  DispatchWorkItem cancelled([&] { ran.push_back("cancelled"); });
  queue.async(cancelled);
  queue.async(DispatchWorkItem([&] { ran.push_back("kept"); }));
  cancelled.cancel();
  gate.set_value();
  queue.sync([] {});
  EXPECT_EQ(ran, (std::vector<std::string>{"kept"}));
}

// Syncs onto a serial queue with work pending and onto a queue targeting it,
// then says how many of the syncs ran.
void syncOntoQueuesAtExit(const char* when) {
  DispatchQueue root("com.zorlan.test.exit-root");
  DispatchQueue child("com.zorlan.test.exit-child", DispatchQoS::unspecified, root);
  root.async([] {});
  const int ran = root.sync([] { return 1; }) + child.sync([] { return 1; });
  std::fprintf(stderr, "%s: %d syncs ran\n", when, ran);
}

struct SyncsWhenDestroyed {
  ~SyncsWhenDestroyed() { syncOntoQueuesAtExit("static destructor"); }
};

// The main thread's own state is torn down before static destructors and
// `atexit` handlers run; queues must still work there.
TEST(DispatchQueueDeathTest, QueuesWorkInStaticDestructorsAndAtExitHandlers) {
  const std::pair<void (*)(), const char*> cases[] = {
      {[] { std::atexit([] { syncOntoQueuesAtExit("atexit handler"); }); },
       "atexit handler: 2 syncs ran"},
      {[] { static SyncsWhenDestroyed destroyedAtExit; }, "static destructor: 2 syncs ran"}};
  for (const auto& [registerExitWork, printed] : cases) {
    EXPECT_EXIT(
        {
          DispatchQueue("com.zorlan.test.used-before-exit").sync([] {});
          registerExitWork();
          std::exit(0);
        },
        ::testing::ExitedWithCode(0), printed);
  }
}

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
