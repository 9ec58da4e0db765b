// zorlan/Rx/Subjects.hpp and the share operator under threads: subscribers coming and going
// everywhere, two writers on one relay, and what a new subscriber is owed coming first.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Scheduling/BehaviorReader.hpp"

namespace zorlan::rx {
namespace {

using Ints = std::vector<int>;

// Subscribers come and go on every thread while all of them send; a subscriber that stays gets
// every element exactly once.
TEST(SubjectConcurrencyTest, SubscribeEmitAndDisposeFromManyThreads) {
  BehaviorRelay<int> relay(0);
  PublishSubject<int> subject;
  std::atomic<long> delivered{0};
  std::atomic<long> stableSum{0};
  Disposable stable = subject.asObservable().subscribe([&](int v) { stableSum.fetch_add(v); });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 1; i <= 300; ++i) {
        Disposable a = relay.asObservable().subscribe([&](int) { delivered.fetch_add(1); });
        Disposable b = subject.asObservable().subscribe([&](int) { delivered.fetch_add(1); });
        relay.accept(t * 1000 + i);
        subject.onNext(i);
        if (i % 2 == 0) {
          a.dispose();
          b.dispose();
        } else {
          DisposeBag bag;
          a.disposed(bag);
          b.disposed(bag);
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  stable.dispose();
  EXPECT_FALSE(relay.hasObservers());
  EXPECT_FALSE(subject.hasObservers());
  EXPECT_EQ(stableSum.load(), 4L * 300 * 301 / 2);
  EXPECT_GE(delivered.load(), 4 * 300);  // at least the relay's value on subscribing
  EXPECT_EQ(relay.value() % 1000, 300);
}

// Two threads accept into one relay. Every observer's calls stay one at a time and in the
// relay's order, so stateful operators count right and the last value seen is the relay's value.
TEST(SubjectConcurrencyTest, TwoWritersOnOneRelay) {
  constexpr int kPerWriter = 1000;
  for (int trial = 0; trial < 40; ++trial) {
    BehaviorRelay<int> relay(0);
    DisposeBag bag;
    std::atomic<int> inside{0};
    std::atomic<bool> overlapped{false};
    auto observe = [&](const Observable<int>& sequence, auto onNext, auto... onCompleted) {
      sequence.subscribe(onNext, {}, onCompleted...).disposed(bag);
    };
    int last = -1;  // written by one observer's calls only
    observe(relay.asObservable(), [&](int v) {
      if (inside.fetch_add(1) != 0) overlapped = true;
      last = v;
      inside.fetch_sub(1);
    });
    int counted = 0;
    observe(relay.asObservable().scan(0, [](int n, int) { return n + 1; }),
            [&](int n) { counted = n; });
    int taken = 0;
    bool takeCompleted = false;
    observe(
        relay.asObservable().take(100), [&](int) { ++taken; }, [&] { takeCompleted = true; });
    int distinct = -1;
    observe(relay.asObservable().distinctUntilChanged(), [&](int v) { distinct = v; });
    BehaviorReader<int> reader = asBehaviorReader(relay.asObservable(), -1);
    std::atomic<bool> go{false};
    auto writer = [&](int base) {
      while (!go.load()) std::this_thread::yield();
      for (int i = 1; i <= kPerWriter; ++i) relay.accept(base + i);
    };
    std::thread a(writer, 0);
    std::thread b(writer, 100000);
    go = true;
    a.join();
    b.join();
    ASSERT_FALSE(overlapped.load());
    ASSERT_EQ(last, relay.value()) << "trial " << trial;
    ASSERT_EQ(distinct, relay.value());
    ASSERT_EQ(reader.value(), relay.value());
    ASSERT_EQ(counted, 2 * kPerWriter + 1);  // the value on subscribing counts too
    ASSERT_EQ(taken, 100);
    ASSERT_TRUE(takeCompleted);
  }
}

// A new subscriber of a hot sequence gets what it is owed (a value, a replay buffer) before
// elements that another thread sends meanwhile.
TEST(GateConcurrencyTest, WhatIsOwedComesBeforeElementsSentMeanwhile) {
  for (const bool viaShare : {false, true}) {
    SCOPED_TRACE(viaShare ? "shared with replay" : "behavior relay");
    // Either way the sequence owes a new subscriber the element 1.
    BehaviorRelay<int> relay(1);
    PublishSubject<int> subject;
    auto shared = subject.asObservable().share(1);
    Disposable keeper = shared.subscribe([](int) {});  // keeps the connection
    subject.onNext(1);
    Observable<int> sequence = viaShare ? shared : relay.asObservable();
    std::promise<void> inFirstDelivery;
    std::promise<void> sent;
    std::shared_future<void> sentFuture = sent.get_future().share();
    std::atomic<bool> firstCall{true};
    std::mutex mutex;
    Ints seen;
    // Another thread sends 2 while the subscriber is still receiving 1.
    std::thread sender([&] {
      inFirstDelivery.get_future().wait();
      viaShare ? subject.onNext(2) : relay.accept(2);
      sent.set_value();
    });
    Disposable subscription = sequence.subscribe([&](int v) {
      if (firstCall.exchange(false)) {
        inFirstDelivery.set_value();
        sentFuture.wait();  // the send returned without waiting for this delivery
      }
      std::lock_guard lock(mutex);
      seen.push_back(v);
    });
    sender.join();
    EXPECT_EQ(seen, (Ints{1, 2}));
    subscription.dispose();
    keeper.dispose();
  }
}

}  // namespace
}  // namespace zorlan::rx
