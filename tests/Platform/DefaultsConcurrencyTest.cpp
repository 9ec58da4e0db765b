// Eight threads read, write and observe one suite while another connection
// writes the same file; every key ends at its last write and every observer
// saw each thread's writes in the order they were made.
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <thread>

#include "support/DefaultsTestSupport.hpp"
#include "zorlan/Platform/Defaults.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Observable.hpp"

namespace zorlan {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 120;
constexpr int kSharedKeys = 4;

struct Recorder {
  std::mutex mutex;
  std::vector<std::int64_t> seen;
  void add(const std::optional<PropertyListValue>& v) {
    std::lock_guard lock(mutex);
    if (v && v->get<std::int64_t>()) seen.push_back(*v->get<std::int64_t>());
  }
};

std::string key(const char* name, int i) { return name + std::to_string(i); }

TEST(DefaultsConcurrency, ReadersWritersAndObserversAgree) {
  testing::ScratchDirectory dir;
  auto defaults = Defaults::open("busy", dir.path());
  rx::DisposeBag bag;
  std::vector<std::unique_ptr<Recorder>> shared;
  for (int k = 0; k < kSharedKeys; ++k) {
    shared.push_back(std::make_unique<Recorder>());
    defaults->observe(key("shared", k))
        .subscribe([r = shared.back().get()](const auto& v) { r->add(v); })
        .disposed(bag);
  }
  // Each thread's own key is mirrored by a handler that writes the suite.
  for (int t = 0; t < kThreads; ++t) {
    defaults->observe(key("own", t))
        .subscribe([&defaults, t](const std::optional<PropertyListValue>& v) {
          if (v) defaults->set(key("mirror", t), *v);
        })
        .disposed(bag);
  }

  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        defaults->set(key("own", t), std::int64_t{i});
        defaults->set(key("shared", i % kSharedKeys), std::int64_t{t * 1000 + i});
        (void)defaults->object(key("shared", (i + 1) % kSharedKeys));
        (void)defaults->value<std::int64_t>(key("own", (t + 1) % kThreads));
        if (i % 16 == t % 16) {
          // Observers come and go while others deliver.
          auto churn = defaults->observe(key("shared", t % kSharedKeys)).subscribe([](auto&&) {});
          churn.dispose();
        }
        if (t == 0 && i % 20 == 0) {
          EXPECT_TRUE(defaults->synchronize());
        }
        if (t == 1 && i % 20 == 0) (void)defaults->dictionaryRepresentation();
        if (t == 2 && i % 40 == 0) defaults->removeObject("scratch");
      }
    });
  }
  std::thread outside([&] {
    testing::RawDatabase other(defaults->path());
    for (int i = 0; i < kRounds; ++i) {
      other.exec("INSERT INTO defaults VALUES('outside', 2, " + std::to_string(i) +
                 ") ON CONFLICT(key) DO UPDATE SET value = excluded.value");
    }
  });
  for (auto& thread : threads) thread.join();
  outside.join();
  ASSERT_TRUE(defaults->synchronize());

  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(defaults->value<std::int64_t>(key("own", t)), kRounds - 1);
    EXPECT_EQ(defaults->value<std::int64_t>(key("mirror", t)), kRounds - 1);
  }
  EXPECT_EQ(defaults->value<std::int64_t>("outside"), kRounds - 1);
  std::map<std::string, PropertyListValue> inMemory = defaults->dictionaryRepresentation();
  for (int k = 0; k < kSharedKeys; ++k) {
    std::lock_guard lock(shared[k]->mutex);
    const auto& seen = shared[k]->seen;
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(defaults->value<std::int64_t>(key("shared", k)), seen.back()) << k;
    std::map<std::int64_t, std::int64_t> lastByThread;
    for (std::int64_t v : seen) {
      auto& last = lastByThread.try_emplace(v / 1000, -1).first->second;
      EXPECT_GT(v % 1000, last) << "key " << k << ": thread " << v / 1000 << " out of order";
      last = v % 1000;
    }
  }

  bag = rx::DisposeBag();
  defaults.reset();
  EXPECT_EQ(Defaults::open("busy", dir.path())->dictionaryRepresentation(), inMemory);
}

}  // namespace
}  // namespace zorlan
