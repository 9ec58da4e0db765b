#include "zorlan/Rx/Disposable.hpp"

#include <gtest/gtest.h>

#include "zorlan/Rx/DisposeBag.hpp"

namespace zorlan::rx {
namespace {

TEST(DisposableTest, ActionRunsOnceAcrossCopies) {
  int runs = 0;
  Disposable d = Disposable::create([&] { ++runs; });
  Disposable copy = d;
  EXPECT_FALSE(d.isDisposed());
  copy.dispose();
  d.dispose();
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(d.isDisposed());
}

TEST(DisposableTest, EmptyHandleDisposesNothing) {
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

}  // namespace
}  // namespace zorlan::rx
