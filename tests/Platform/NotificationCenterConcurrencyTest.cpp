// zorlan/Platform/NotificationCenter.hpp under threads: posts racing with observers added and
// removed, and removal waiting for a call already running on another thread.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "zorlan/Platform/NotificationCenter.hpp"

namespace zorlan {
namespace {

const NotificationName kTick{"Test:Tick"};

TEST(NotificationCenterConcurrency, NoCallAfterRemovalReturnsAndEveryDeliveryCounted) {
  constexpr int kPosters = 8, kChurners = 8, kPosts = 400, kChurns = 150;
  NotificationCenter center;
  // One observer that stays for the whole run: it must see every post, whole.
  std::atomic<int> delivered{0}, torn{0}, callsAfterRemoval{0};
  auto steady = center.addObserver(kTick, [&](const Notification& n) {
    const UserInfo* info = n.userInfo();
    int a = std::any_cast<int>(info->at("a")), b = std::any_cast<int>(info->at("b"));
    if (b != a * 2) torn.fetch_add(1);
    delivered.fetch_add(1);
  });

  std::vector<std::thread> threads;
  for (int c = 0; c < kChurners; ++c) {
    threads.emplace_back([&] {
      for (int i = 0; i < kChurns; ++i) {
        auto removed = std::make_shared<std::atomic<bool>>(false);
        auto o = center.addObserver(kTick, [removed, &callsAfterRemoval](const Notification&) {
          if (removed->load()) callsAfterRemoval.fetch_add(1);
        });
        std::this_thread::yield();
        o.remove();
        removed->store(true);
      }
    });
  }
  for (int p = 0; p < kPosters; ++p) {
    threads.emplace_back([&, p] {
      for (int i = 0; i < kPosts; ++i) {
        int a = p * kPosts + i;
        center.post(kTick, nullptr,
                    std::make_shared<const UserInfo>(UserInfo{{"a", a}, {"b", 2 * a}}));
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(delivered.load(), kPosters * kPosts);
  EXPECT_EQ(torn.load(), 0);
  EXPECT_EQ(callsAfterRemoval.load(), 0);
}

TEST(NotificationCenterConcurrency, RemovalWaitsForACallRunningOnAnotherThread) {
  NotificationCenter center;
  std::atomic<bool> entered{false}, removing{false}, finished{false};
  auto o = center.addObserver(kTick, [&](const Notification&) {
    entered.store(true);
    while (!removing.load()) std::this_thread::yield();
    for (int i = 0; i < 2000; ++i) std::this_thread::yield();  // still running when remove() starts
    finished.store(true);
  });
  std::thread poster([&] { center.post(kTick); });
  while (!entered.load()) std::this_thread::yield();
  removing.store(true);
  o.remove();
  EXPECT_TRUE(finished.load());
  poster.join();
}

}  // namespace
}  // namespace zorlan
