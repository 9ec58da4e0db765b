// Setting a time point against pushing the same record onto a mutex-guarded
// vector, and an expiration check against one read of the clock it asks.
#include <benchmark/benchmark.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "support/Ratio.hpp"
#include "zorlan/Time/Clock.hpp"
#include "zorlan/Time/ExpirationChecker.hpp"
#include "zorlan/Time/TimePoints.hpp"

namespace {

using zorlan::TimePoints;

// Both sides start over every so often, keeping their storage, so neither measures an
// ever-growing vector.
constexpr int kMarksPerRound = 4096;

void BM_TimePointMark(benchmark::State& state) {
  const auto id = TimePoints::Identifier::videoStartup();
  TimePoints::reset();
  TimePoints::setTimePointLoggingEnabled(true);
  int n = 0;
  for (auto _ : state) {
    TimePoints::setTimePoint(id, "segment loaded", TimePoints::Reference::two);
    if (++n == kMarksPerRound) {
      TimePoints::reset(id);
      n = 0;
    }
  }
  TimePoints::setTimePointLoggingEnabled(false);
  TimePoints::reset();
}
BENCHMARK(BM_TimePointMark);

void BM_MutexVectorPush(benchmark::State& state) {
  std::mutex mutex;
  std::vector<TimePoints::Mark> marks;
  int n = 0;
  for (auto _ : state) {
    {
      std::lock_guard lock(mutex);
      marks.push_back({zorlan::Date::now().timeIntervalSince1970(), std::string("segment loaded"),
                       TimePoints::Reference::two});
    }
    if (++n == kMarksPerRound) {
      std::lock_guard lock(mutex);
      marks.clear();
      n = 0;
    }
  }
  benchmark::DoNotOptimize(marks.data());
}
BENCHMARK(BM_MutexVectorPush);

void BM_ExpirationCheck(benchmark::State& state) {
  zorlan::ExpirationChecker checker(zorlan::BehaviorReader<double>::just(30),
                                    zorlan::SystemClock::shared());
  checker.set();
  for (auto _ : state) benchmark::DoNotOptimize(checker.isExpired());
}
BENCHMARK(BM_ExpirationCheck);

void BM_ClockRead(benchmark::State& state) {
  const std::shared_ptr<const zorlan::Clock> clock = zorlan::SystemClock::shared();
  for (auto _ : state) benchmark::DoNotOptimize(clock->now());
}
BENCHMARK(BM_ClockRead);

}  // namespace

int main(int argc, char** argv) {
  return zorlan::bench::runBenchmarks(
      argc, argv,
      {{"time_point_mark_vs_mutex_vector", "BM_TimePointMark", "BM_MutexVectorPush"},
       {"expiration_check_vs_clock_read", "BM_ExpirationCheck", "BM_ClockRead"}});
}
