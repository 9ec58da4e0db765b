// One post to 8 observers of a name, against a Boost.Signals2 signal with 8
// slots: both deliver synchronously on the calling thread and both let
// receivers come and go from other threads while they deliver.
#include <benchmark/benchmark.h>

#include <boost/signals2/signal.hpp>
#include <vector>

#include "support/Ratio.hpp"
#include "zorlan/Platform/NotificationCenter.hpp"

namespace {

constexpr int kObservers = 8;

void BM_NotificationPost8(benchmark::State& state) {
  zorlan::NotificationCenter center;
  const zorlan::NotificationName name{"Bench:Tick"};
  const zorlan::NotificationName other{"Bench:Other"};
  std::vector<zorlan::NotificationCenter::Observation> observations;
  long long sum = 0;
  for (int i = 0; i < kObservers; ++i) {
    observations.push_back(
        center.addObserver(name, [&sum, i](const zorlan::Notification&) { sum += i; }));
    // Observers of another name must not slow this one down.
    observations.push_back(center.addObserver(other, [](const zorlan::Notification&) {}));
  }
  for (auto _ : state) center.post(name);
  benchmark::DoNotOptimize(sum);
}
BENCHMARK(BM_NotificationPost8);

void BM_Signals2Emit8(benchmark::State& state) {
  boost::signals2::signal<void()> signal;
  long long sum = 0;
  for (int i = 0; i < kObservers; ++i) signal.connect([&sum, i] { sum += i; });
  for (auto _ : state) signal();
  benchmark::DoNotOptimize(sum);
}
BENCHMARK(BM_Signals2Emit8);

}  // namespace

int main(int argc, char** argv) {
  return zorlan::bench::runBenchmarks(
      argc, argv,
      {{"notification_post_8_vs_signals2", "BM_NotificationPost8", "BM_Signals2Emit8"}});
}
