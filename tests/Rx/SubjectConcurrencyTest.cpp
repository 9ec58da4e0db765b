#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Subjects.hpp"

namespace zorlan::rx {
namespace {

// Subscribers come and go on every thread while all of them send; a subscriber
// that stays gets every element exactly once.
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
  // Each subscription saw at least the relay's value on subscribing.
  EXPECT_GE(delivered.load(), 4 * 300);
  EXPECT_EQ(relay.value() % 1000, 300);
}

}  // namespace
}  // namespace zorlan::rx
