// The router used from several threads at once: links submitted while
// features register and the transfer thread asks for redirect decisions.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "zorlan/Routing/URLRouter.hpp"
#include "zorlan/Rx/DisposeBag.hpp"

namespace zorlan {
namespace {

TEST(URLRouterConcurrency, SubmitRegisterAndDecideRedirectsTogether) {
  URLRouter router(RedirectContext({}, "", nullptr));
  rx::DisposeBag bag;
  // One route shared by every observer: its expression is compiled by
  // whichever thread matches first.
  auto shared = std::make_shared<URLRoute>("myapp://show/${id:[0-9]+}");
  std::atomic<int> steady{0};
  router.observer(shared).subscribe([&](const URLRouter::Match&) { ++steady; }).disposed(bag);

  constexpr int kLinks = 400;
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&, t] {
      while (!go) std::this_thread::yield();
      for (int i = 0; i < kLinks; ++i) {
        router.submit(*URL::fromString("myapp://show/" + std::to_string(t * kLinks + i)));
      }
    });
  }
  std::atomic<int> refused{0};
  threads.emplace_back([&] {
    while (!go) std::this_thread::yield();
    for (int i = 0; i < kLinks; ++i) {
      if (!router.handleRedirect(
              URLRequest{URL::fromString("myapp://show/" + std::to_string(i))})) {
        ++refused;
      }
    }
  });
  std::vector<rx::Disposable> late;
  std::mutex lateMutex;
  threads.emplace_back([&] {
    while (!go) std::this_thread::yield();
    for (int i = 0; i < 100; ++i) {
      auto route = std::make_shared<URLRoute>("myapp://show/" + std::to_string(i));
      auto subscription = router.observer(route).subscribe([](const URLRouter::Match&) {});
      std::lock_guard lock(lateMutex);
      late.push_back(std::move(subscription));
    }
  });
  go = true;
  for (auto& thread : threads) thread.join();
  for (auto& subscription : late) subscription.dispose();
  EXPECT_EQ(steady, 2 * kLinks);
  EXPECT_EQ(refused, kLinks);  // every request's URL matches the shared route
}

}  // namespace
}  // namespace zorlan
