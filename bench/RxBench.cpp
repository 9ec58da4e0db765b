// Reactive core: relay delivery against Boost.Signals2, reader value against a mutex.
#include <benchmark/benchmark.h>

#include <boost/signals2/signal.hpp>

#include <mutex>
#include <vector>

#include "support/Ratio.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Scheduling/BehaviorReader.hpp"

namespace {

void BM_RelayAccept(benchmark::State& state) {
  zorlan::rx::BehaviorRelay<int> relay(0);
  zorlan::rx::DisposeBag bag;
  long sink = 0;
  for (int i = 0; i < state.range(0); ++i) {
    relay.asObservable().subscribe([&sink](int v) { sink += v; }).disposed(bag);
  }
  int i = 0;
  for (auto _ : state) relay.accept(++i);
  benchmark::DoNotOptimize(sink);
}
BENCHMARK(BM_RelayAccept)->Arg(1)->Arg(8);

void BM_Signals2Emit(benchmark::State& state) {
  boost::signals2::signal<void(int)> signal;
  long sink = 0;
  for (int i = 0; i < state.range(0); ++i) signal.connect([&sink](int v) { sink += v; });
  int i = 0;
  for (auto _ : state) signal(++i);
  benchmark::DoNotOptimize(sink);
}
BENCHMARK(BM_Signals2Emit)->Arg(1)->Arg(8);

void BM_ReaderValue(benchmark::State& state) {
  zorlan::BehaviorReader<int> reader(zorlan::rx::BehaviorRelay<int>(42));
  for (auto _ : state) benchmark::DoNotOptimize(reader.value());
}
BENCHMARK(BM_ReaderValue);

void BM_MutexCopy(benchmark::State& state) {
  std::mutex mutex;
  int value = 42;
  for (auto _ : state) {
    std::lock_guard lock(mutex);
    int copy = value;
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_MutexCopy);

}  // namespace

int main(int argc, char** argv) {
  return zorlan::bench::runBenchmarks(
      argc, argv,
      {{"relay_delivery_1", "BM_RelayAccept/1", "BM_Signals2Emit/1"},
       {"relay_delivery_8", "BM_RelayAccept/8", "BM_Signals2Emit/8"},
       {"reader_value_vs_mutex", "BM_ReaderValue", "BM_MutexCopy"}});
}
