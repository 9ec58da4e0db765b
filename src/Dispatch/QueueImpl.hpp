// The state behind a DispatchQueue handle.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "zorlan/Dispatch/DispatchTime.hpp"

namespace zorlan::detail {

// A caller of `sync` waiting for its turn on a serial queue. Whoever owns the
// queue when the caller's place comes up sets `turn`. On the main queue and on
// queues targeting a serial queue, the owner then waits for `done`, so that
// nothing else of the queue (or its target) runs meanwhile.
struct SyncWaiter {
  std::mutex mutex;
  std::condition_variable changed;
  bool turn = false;
  bool done = false;
};

struct QueueItem {
  std::function<void()> work;
  std::shared_ptr<SyncWaiter> waiter;  // shared: the owner may still wake after the caller left
};

// One queue. A serial queue is owned by at most one party at a time: a drain
// posted to its target, a thread running its items, or a `sync` caller.
// Ownership passes along the queue: an owner that reaches a waiting `sync`
// caller hands the queue to it, and a caller that is done hands it on.
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
  // Main queue: wakes a waiting `runMain` to look at its timers again.
  void wakeMain();

  const Kind kind;
  const std::string label;
  const DispatchQoS qos;
  const std::shared_ptr<QueueImpl> target;

 private:
  // True when the queue's items run straight on the pool, so that ownership
  // can move between threads without anyone blocking.
  bool handsOffFreely() const noexcept { return handsOffFreely_; }
  const bool handsOffFreely_;

  void drain(std::uint64_t ticket);
  void drainTarget();
  // Runs items as the owner until `mine` comes up (then returns true) or the
  // queue was handed to another waiter (returns false).
  bool runAsOwnerUntil(const SyncWaiter* mine);
  // Called by the owner with `lock` held once it is done: hands the queue to
  // the next waiter, posts a drain for the next items, or leaves it idle.
  void passOwnership(std::unique_lock<std::mutex>& lock);
  void postDrain(std::unique_lock<std::mutex>& lock);
  void syncAsWaiter(void (*call)(void*), void* context);
  void syncThroughTarget(void (*call)(void*), void* context);
  void handOverAndWait(SyncWaiter& waiter);
  static void giveTurn(SyncWaiter& waiter);
  void runWork(std::function<void()>& work);
  bool takeDueTimers();

  mutable std::mutex specificsMutex_;
  std::unordered_map<std::uint64_t, std::shared_ptr<const void>> specifics_;

  std::mutex mutex_;
  std::deque<QueueItem> items_;
  bool active_ = false;  // someone owns the queue (see above); items_ non-empty implies it
  bool posted_ = false;  // the owner is a drain posted to the pool that has not started
  std::uint64_t ticket_ = 0;  // the posted drain that may still start

  // Main queue only.
  std::condition_variable mainChanged_;
  std::multimap<std::int64_t, std::function<void()>> timers_;
  bool stopRequested_ = false;
  bool mainRunning_ = false;
};

// The queues the calling thread is running work of, innermost last.
std::vector<QueueImpl*>& runningQueues();

// RAII: marks the calling thread as running `queue`'s work.
class RunningScope {
 public:
  explicit RunningScope(QueueImpl* queue) : RunningScope(runningQueues(), queue) {}
  // With the calling thread's `runningQueues()`, already looked up.
  RunningScope(std::vector<QueueImpl*>& running, QueueImpl* queue) : running_(running) {
    running_.push_back(queue);
  }
  ~RunningScope() { running_.pop_back(); }
  RunningScope(const RunningScope&) = delete;
  RunningScope& operator=(const RunningScope&) = delete;

 private:
  std::vector<QueueImpl*>& running_;  // this thread's, looked up once
};

// The main queue (kept for the life of the process).
const std::shared_ptr<QueueImpl>& mainQueueImpl();

// Posts `work` to the shared pool.
void postToPool(std::function<void()> work);
// Runs `work` on the pool once `delay` (real time) has passed.
void postToPoolAfter(std::chrono::nanoseconds delay, std::function<void()> work);

}  // namespace zorlan::detail
