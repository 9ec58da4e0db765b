// zorlan/Rx/operators/Combining.hpp under threads: operators that combine sources deliver one
// event at a time even when the sources emit from different threads.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "zorlan/Rx/Subjects.hpp"

namespace zorlan::rx {
namespace {

struct CombiningCase {
  const char* name;
  std::function<Observable<int>(Observable<int>, Observable<int>)> combine;
};

TEST(OperatorConcurrencyTest, CombiningOperatorsNeverOverlapDeliveries) {
  std::vector<CombiningCase> cases = {
      {"takeUntil",
       [](auto a, auto b) { return a.takeUntil(b.filter([](int v) { return v < 0; })); }},
      {"merge", [](auto a, auto b) { return a.merge(b); }},
      {"combineLatest",
       [](auto a, auto b) {
         return Observable<int>::combineLatest(a, b, [](int x, int y) { return x + y; });
       }},
      {"flatMap",
       [](auto a, auto b) { return a.take(1).flatMap([a, b](int) { return a.merge(b); }); }},
  };
  for (const CombiningCase& c : cases) {
    SCOPED_TRACE(c.name);
    for (int round = 0; round < 20; ++round) {
      PublishRelay<int> left;
      PublishRelay<int> right;
      std::atomic<int> inside{0};
      std::atomic<bool> overlapped{false};
      long delivered = 0;  // plain: a data race here is what TSan would report
      auto enter = [&] {
        if (inside.fetch_add(1) != 0) overlapped = true;
        std::atomic<int> spin{0};
        while (spin.fetch_add(1, std::memory_order_relaxed) < 50) {
        }
        ++delivered;
        inside.fetch_sub(1);
      };
      Disposable d =
          c.combine(left.asObservable(), right.asObservable())
              .subscribe(AnyObserver<int>::make(
                  [&](int) { enter(); }, [&](std::exception_ptr) { enter(); }, [&] { enter(); }));
      // The left thread keeps sending while the right one sends its 200,
      // so the right one's events (the last one may end the sequence) arrive
      // while left elements are being delivered.
      std::atomic<int> sentLeft{0};
      std::atomic<bool> rightDone{false};
      std::thread a([&] {
        for (int i = 0; !rightDone.load() && i < 1000000; ++i) {
          left.accept(i);
          sentLeft.store(i + 1);
        }
      });
      std::thread b([&] {
        while (sentLeft.load() < 100 && !rightDone.load()) {
        }
        for (int i = 1; i <= 200; ++i) right.accept(i == 200 ? -1 : i);
        rightDone.store(true);
      });
      a.join();
      b.join();
      d.dispose();
      EXPECT_FALSE(overlapped);
      EXPECT_GT(delivered, 0);
    }
  }
}

}  // namespace
}  // namespace zorlan::rx
