#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Subjects.hpp"

namespace zorlan::rx {
namespace {

TEST(SubjectConcurrencyTest, SubscribeEmitAndDisposeFromManyThreads) {
  BehaviorRelay<int> relay(0);
  PublishSubject<int> subject;
  std::atomic<long> delivered{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 300; ++i) {
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
  EXPECT_FALSE(relay.hasObservers());
  EXPECT_FALSE(subject.hasObservers());
  // Each subscription saw at least the relay's value on subscribing.
  EXPECT_GE(delivered.load(), 4 * 300);
  int last = relay.value();
  EXPECT_TRUE(last % 1000 == 299);
}

TEST(SubjectConcurrencyTest, EveryElementReachesAStableSubscriberOnce) {
  PublishRelay<int> relay;
  std::atomic<long> sum{0};
  Disposable d = relay.asObservable().subscribe([&](int v) { sum.fetch_add(v); });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 1; i <= 1000; ++i) relay.accept(i);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(sum.load(), 4L * 1000 * 1001 / 2);
  d.dispose();
}

}  // namespace
}  // namespace zorlan::rx
