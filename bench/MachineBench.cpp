// What this machine charges for the steps a durable log write from many
// threads is made of, so that the logging ratios can be read against it:
// - one `pwrite` of an event's size (193 bytes) at the end of a growing file;
// - the same when consecutive writes come from two CPUs in turn (presumably
//   the file's kernel state moving between them): one iteration is two writes;
// - handing the turn from one thread to another through a futex, the
//   threads on one CPU or on two: one iteration is a round trip, two
//   hand-offs.
// A caller that waits for another's write pays one hand-off; a group of
// events shares one write. No ratios: these are the machine's prices.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>

#include "Base/Futex.hpp"
#include "support/Ratio.hpp"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kEventBytes = 193;

// A new, empty file in the temporary directory, removed with this object.
class ScratchFile {
 public:
  ScratchFile()
      : path_(fs::temp_directory_path() /
              ("zorlan-machinebench-" + std::to_string(::getpid()) + ".log")),
        fd_(::open(path_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)) {}
  ~ScratchFile() {
    if (fd_ >= 0) ::close(fd_);
    std::error_code ignored;
    fs::remove(path_, ignored);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  int fd() const { return fd_; }

  // Appends one event's bytes; false when the write fails.
  bool append() {
    static const std::array<char, kEventBytes> bytes = [] {
      std::array<char, kEventBytes> filled{};
      filled.fill('x');
      return filled;
    }();
    const ssize_t written = ::pwrite(fd_, bytes.data(), bytes.size(), static_cast<off_t>(offset_));
    offset_ += kEventBytes;
    return written == static_cast<ssize_t>(kEventBytes);
  }

 private:
  fs::path path_;
  int fd_;
  std::size_t offset_ = 0;
};

// Pins the calling thread to `cpu`; false when the machine refuses (or lacks it).
bool pinTo(int cpu) {
  if (cpu >= static_cast<int>(std::thread::hardware_concurrency())) return false;
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(cpu, &set);
  return ::pthread_setaffinity_np(::pthread_self(), sizeof set, &set) == 0;
}

// Pins the calling thread for its lifetime and restores its CPUs afterwards.
class Pinned {
 public:
  explicit Pinned(int cpu) {
    ::pthread_getaffinity_np(::pthread_self(), sizeof saved_, &saved_);
    ok_ = pinTo(cpu);
  }
  ~Pinned() { ::pthread_setaffinity_np(::pthread_self(), sizeof saved_, &saved_); }
  Pinned(const Pinned&) = delete;
  Pinned& operator=(const Pinned&) = delete;
  bool ok() const { return ok_; }

 private:
  cpu_set_t saved_{};
  bool ok_ = false;
};

void BM_Pwrite(benchmark::State& state) {
  ScratchFile file;
  bool failed = file.fd() < 0;
  for (auto _ : state) failed |= !file.append();
  if (failed) state.SkipWithError("the scratch file could not be written");
}
BENCHMARK(BM_Pwrite)->MinTime(0.3);

// The benchmark's thread on CPU 0 and a partner on CPU 1 write in turn.
void BM_PwriteAlternatingCpus(benchmark::State& state) {
  ScratchFile file;
  const Pinned pinned(0);
  std::atomic<int> turn{0};  // 1: the partner's turn; -1: stop
  std::atomic<bool> partnerPinned{false}, failed{file.fd() < 0};
  std::thread partner([&] {
    partnerPinned = pinTo(1);
    while (true) {
      const int now = turn.load(std::memory_order_acquire);
      if (now < 0) return;
      if (now == 1) {
        if (!file.append()) failed = true;
        turn.store(0, std::memory_order_release);
      }
    }
  });
  for (auto _ : state) {
    if (!file.append()) failed = true;
    turn.store(1, std::memory_order_release);
    while (turn.load(std::memory_order_acquire) != 0) {
    }
  }
  turn.store(-1, std::memory_order_release);
  partner.join();
  if (!pinned.ok() || !partnerPinned) state.SkipWithError("needs two CPUs to pin to");
  if (failed) state.SkipWithError("the scratch file could not be written");
}
BENCHMARK(BM_PwriteAlternatingCpus)->MinTime(0.3)->UseRealTime();

// One round trip: the benchmark's thread wakes the partner and sleeps until
// the partner wakes it back. Arg 0: both on CPU 0; arg 1: CPUs 0 and 1.
void BM_FutexHandoff(benchmark::State& state) {
  const int partnerCpu = static_cast<int>(state.range(0));
  const Pinned pinned(0);
  std::atomic<std::uint32_t> word{0};  // odd: the partner's turn
  std::atomic<bool> stop{false}, partnerPinned{false};
  std::thread partner([&] {
    partnerPinned = pinTo(partnerCpu);
    std::uint32_t seen = 0;
    while (true) {
      seen = word.load(std::memory_order_acquire);
      if (stop.load(std::memory_order_acquire)) return;
      if (seen % 2 == 0) {
        zorlan::detail::futexWait(word, seen);
        continue;
      }
      word.store(seen + 1, std::memory_order_release);
      zorlan::detail::futexWakeOne(word);
    }
  });
  std::uint32_t next = 0;
  for (auto _ : state) {
    word.store(++next, std::memory_order_release);  // odd
    zorlan::detail::futexWakeOne(word);
    ++next;
    for (std::uint32_t seen = word.load(std::memory_order_acquire); seen != next;
         seen = word.load(std::memory_order_acquire)) {
      zorlan::detail::futexWait(word, seen);
    }
  }
  stop.store(true, std::memory_order_release);
  word.fetch_add(2, std::memory_order_release);
  zorlan::detail::futexWakeAll(word);
  partner.join();
  if (!pinned.ok() || !partnerPinned) state.SkipWithError("needs the CPUs to pin to");
}
BENCHMARK(BM_FutexHandoff)->Arg(0)->Arg(1)->ArgName("other_cpu")->MinTime(0.3)->UseRealTime();

}  // namespace

int main(int argc, char** argv) { return zorlan::bench::runBenchmarks(argc, argv, {}); }
