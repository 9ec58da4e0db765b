// The state behind a DispatchQueue handle.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "zorlan/Dispatch/DispatchTime.hpp"

namespace zorlan::detail {

// A caller of `sync` waiting for its turn on a serial queue. The queue's
// drainer hands the turn over and waits until the caller is done.
struct SyncWaiter {
  std::mutex mutex;
  std::condition_variable changed;
  bool turn = false;
  bool done = false;
};

struct QueueItem {
  std::function<void()> work;
  std::shared_ptr<SyncWaiter> waiter;  // shared: the drainer may still wake after the caller left
};

class QueueImpl : public std::enable_shared_from_this<QueueImpl> {
 public:
  enum class Kind { main, global, serial };

  QueueImpl(Kind kind, std::string label, DispatchQoS qos, std::shared_ptr<QueueImpl> target);

  // Submits work: to the pool (global), to the main loop (main) or to the
  // queue's own list (serial).
  void submit(std::function<void()> work);
  // Runs `call(context)` as `sync` does.
  void sync(void (*call)(void*), void* context);
  // Delayed submission.
  void submitAfter(DispatchTime deadline, std::function<void()> work);

  void setSpecific(std::uint64_t key, std::shared_ptr<const void> value);
  std::shared_ptr<const void> specific(std::uint64_t key) const;

  // Main queue: runs ready items; `wait` blocks for work until stopped or
  // until `until` (real time) passes.
  std::size_t runMain(bool wait, std::chrono::steady_clock::time_point until);
  void stopMain();

  const Kind kind;
  const std::string label;
  const DispatchQoS qos;
  const std::shared_ptr<QueueImpl> target;

 private:
  void drain();
  void scheduleDrain();
  void releaseAfterInline();
  void handOver(SyncWaiter& waiter);
  void runItem(QueueItem& item);
  bool takeDueTimers();

  mutable std::mutex specificsMutex_;
  std::unordered_map<std::uint64_t, std::shared_ptr<const void>> specifics_;

  std::mutex mutex_;
  std::deque<QueueItem> items_;
  bool active_ = false;  // a drain is scheduled or running, or a sync holds the queue

  // Main queue only.
  std::condition_variable mainChanged_;
  std::multimap<std::int64_t, std::function<void()>> timers_;
  bool stopRequested_ = false;
};

// The queues the calling thread is running work of, innermost last.
std::vector<QueueImpl*>& runningQueues();

// RAII: marks the calling thread as running `queue`'s work.
class RunningScope {
 public:
  explicit RunningScope(QueueImpl* queue) { runningQueues().push_back(queue); }
  ~RunningScope() { runningQueues().pop_back(); }
  RunningScope(const RunningScope&) = delete;
  RunningScope& operator=(const RunningScope&) = delete;
};

// Posts `work` to the shared pool.
void postToPool(std::function<void()> work);
// Runs `work` on the pool once `delay` (real time) has passed.
void postToPoolAfter(std::chrono::nanoseconds delay, std::function<void()> work);

}  // namespace zorlan::detail
