// Dispatch queues: serial submissions against a bare Asio strand, an idle
// sync against a mutex.
#include <benchmark/benchmark.h>

#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include <algorithm>
#include <future>
#include <mutex>
#include <thread>

#include "support/Ratio.hpp"
#include "zorlan/Dispatch/DispatchQueue.hpp"

namespace {

constexpr int kSubmissions = 1'000'000;

void BM_SerialQueueSubmit(benchmark::State& state) {
  zorlan::DispatchQueue queue("com.zorlan.bench.serial");
  for (auto _ : state) {
    long counter = 0;
    std::promise<void> done;
    for (int i = 0; i < kSubmissions; ++i) queue.async([&counter] { ++counter; });
    queue.async([&done] { done.set_value(); });
    done.get_future().wait();
    benchmark::DoNotOptimize(counter);
  }
}
BENCHMARK(BM_SerialQueueSubmit)->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_StrandSubmit(benchmark::State& state) {
  boost::asio::thread_pool pool(std::max(2u, std::thread::hardware_concurrency()));
  auto strand = boost::asio::make_strand(pool);
  for (auto _ : state) {
    long counter = 0;
    std::promise<void> done;
    for (int i = 0; i < kSubmissions; ++i) {
      boost::asio::post(strand, [&counter] { ++counter; });
    }
    boost::asio::post(strand, [&done] { done.set_value(); });
    done.get_future().wait();
    benchmark::DoNotOptimize(counter);
  }
  pool.join();
}
BENCHMARK(BM_StrandSubmit)->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_SerialQueueSyncIdle(benchmark::State& state) {
  zorlan::DispatchQueue queue("com.zorlan.bench.sync");
  int value = 0;
  for (auto _ : state) queue.sync([&value] { ++value; });
  benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_SerialQueueSyncIdle);

void BM_MutexLockUnlock(benchmark::State& state) {
  std::mutex mutex;
  int value = 0;
  for (auto _ : state) {
    std::lock_guard lock(mutex);
    ++value;
  }
  benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_MutexLockUnlock);

}  // namespace

int main(int argc, char** argv) {
  return zorlan::bench::runBenchmarks(
      argc, argv,
      {{"serial_queue_submit_vs_strand", "BM_SerialQueueSubmit/iterations:3",
        "BM_StrandSubmit/iterations:3"},
       {"serial_queue_sync_vs_mutex", "BM_SerialQueueSyncIdle", "BM_MutexLockUnlock"}});
}
