// zorlan/Rx/Disposable.hpp, DisposeBag.hpp, CompositeDisposable.hpp, SerialDisposable.hpp:
// disposal runs once, in order, and at once for late additions.
#include <gtest/gtest.h>

#include "RxTestSupport.hpp"
#include "zorlan/Rx/CompositeDisposable.hpp"
#include "zorlan/Rx/Disposable.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/SerialDisposable.hpp"

namespace zorlan::rx {
namespace {

TEST(DisposableTest, ActionRunsOnceAcrossCopiesAndAnEmptyHandleDisposesNothing) {
  int runs = 0;
  Disposable d = Disposable::create([&] { ++runs; });
  Disposable copy = d;
  EXPECT_FALSE(d.isDisposed());
  copy.dispose();
  d.dispose();
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(d.isDisposed());
  Disposable empty;
  empty.dispose();
  EXPECT_FALSE(empty.isDisposed());
}

TEST(DisposeBagTest, DisposesInInsertionOrderOnDestructionAndReplacement) {
  std::vector<int> order;
  {
    DisposeBag bag;
    Disposable::create([&] { order.push_back(1); }).disposed(bag);
    Disposable::create([&] { order.push_back(2); }).disposed(bag);
    bag = DisposeBag();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    Disposable::create([&] { order.push_back(3); }).disposed(bag);
  }
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(GroupDisposableTest, LateAdditionsAreDisposedAtOnce) {
  testing::Log log;
  auto entry = [&log](const char* name) {
    return Disposable::create([&log, name] { log.push_back(name); });
  };
  CompositeDisposable group;
  group.add(entry("first"));
  group.dispose();
  group.add(entry("late"));
  EXPECT_EQ(log, (testing::Log{"first", "late"}));

  SerialDisposable slot;
  slot.set(entry("replaced"));
  slot.set(entry("current"));
  EXPECT_EQ(log.back(), "replaced");
  slot.dispose();
  EXPECT_EQ(log.back(), "current");
  slot.set(entry("after"));
  EXPECT_EQ(log.back(), "after");
}

}  // namespace
}  // namespace zorlan::rx
