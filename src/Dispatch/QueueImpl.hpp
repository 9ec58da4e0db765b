// The state behind a DispatchQueue handle.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
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
// nothing else of the queue (or its target) runs meanwhile. While it waits,
// the caller may drain the root of its queue's target chain itself (`help`):
// a drain it reaches its own place in runs its work on the spot (`done`).
struct SyncWaiter {
  SyncWaiter(void (*c)(void*), void* ctx) noexcept : call(c), context(ctx) {}
  void (*const call)(void*);
  void* const context;
  std::exception_ptr failure;  // thrown by `call` when run on the caller's behalf

  std::mutex mutex;
  std::condition_variable changed;
  bool turn = false;
  bool done = false;
  bool help = false;  // the root's drain is posted and has not started
};

struct RunningFrame;

struct QueueItem {
  std::function<void()> work;
  std::shared_ptr<SyncWaiter> waiter;  // shared: the owner may still wake after the caller left
};

// One queue. A serial queue is owned by at most one party at a time: a drain
// posted to its target, a thread running its items, or a `sync` caller.
// Ownership passes along the queue: an owner that reaches a waiting `sync`
// caller hands the queue to it, and a caller that is done hands it on.
//
// Every chain of serial queues ends in a root: a queue targeting a global
// queue, whose drains need a pool thread, or the main queue, which runs only
// on the host's thread. A `sync` caller that has to wait for a chain ending in
// a pool root never waits for a pool thread: whenever the root's drain is
// posted but not started, the caller takes it over and runs the root's items
// on its own thread (including the drains of the queues between, down to its
// own place), then posts the rest again. So blocked callers never starve the
// pool, however many there are and however long the chain.
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
  // Serial queues: whether someone owns the queue or work waits on it, as
  // last changed by another thread (a hint: it may change right after).
  bool busy() const noexcept { return busy_.load(std::memory_order_acquire); }

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
  // The last serial queue of the target chain (this one for a pool root or
  // the main queue); null for global queues. Queues of one chain share it.
  QueueImpl* const root_;

  void drain(std::uint64_t ticket);
  void drainTarget();
  // Called by the owner with `lock` held once it is done: hands the queue to
  // the next waiter, posts a drain for the next items, or leaves it idle.
  void passOwnership(std::unique_lock<std::mutex>& lock);
  void postDrain(std::unique_lock<std::mutex>& lock);
  // Stops the process when the calling thread, whose innermost frame is
  // `frame`, holds this queue's chain.
  void requireNotHeld(const RunningFrame* frame) const;
  // Runs `call` holding this (pool root) queue, then hands it on.
  void runAsOwner(void (*call)(void*), void* context);
  void syncAsWaiter(std::unique_lock<std::mutex>& lock, void (*call)(void*), void* context);
  void syncThroughTarget(void (*call)(void*), void* context);
  // Waits until `waiter` has its turn or has been served, draining the root
  // itself whenever its drain is posted but not started.
  void waitServing(SyncWaiter& waiter);
  // Pool root: takes over a posted drain and runs items on the calling
  // thread until `waiter` has been served or the queue changed hands.
  void helpDrain(SyncWaiter& waiter);
  void handOverAndWait(SyncWaiter& waiter);
  static void giveTurn(SyncWaiter& waiter);
  void runWork(std::function<void()>& work);
  bool takeDueTimers();
  // Main queue: stops the process when the caller is the main thread and
  // nobody runs the main queue, so that waiting for it would never end.
  void requireMainQueueRuns(const std::string& syncedLabel);

  mutable std::mutex specificsMutex_;
  std::unordered_map<std::uint64_t, std::shared_ptr<const void>> specifics_;

  std::mutex mutex_;
  std::deque<QueueItem> items_;
  bool active_ = false;  // someone owns the queue (see above); items_ non-empty implies it
  std::atomic<bool> busy_{false};  // `active_`, readable without the lock
  bool posted_ = false;            // the owner is a drain posted to the pool that has not started
  std::uint64_t ticket_ = 0;       // the posted drain that may still start
  std::vector<SyncWaiter*> helpers_;  // pool root: `sync` callers waiting on its chain

  // Main queue only.
  std::condition_variable mainChanged_;
  std::multimap<std::int64_t, std::function<void()>> timers_;
  bool stopRequested_ = false;
  bool mainRunning_ = false;
  bool mainHasRun_ = false;
  std::thread::id mainThread_;  // the thread that last ran the main queue
};

// One queue whose work the calling thread runs; running it means holding
// its whole target chain. Frames live on the stack and link outward.
struct RunningFrame {
  QueueImpl* queue;
  RunningFrame* outer;
};

// The calling thread's innermost frame (null when it runs no queue's work).
// A plain pointer: nothing of it is destroyed when a thread ends, so queues
// work on in static destructors and `atexit` handlers, which run after the
// main thread's thread-local objects are gone.
RunningFrame*& innermostFrame() noexcept;

// RAII: marks the calling thread as running `queue`'s work.
class RunningScope {
 public:
  explicit RunningScope(QueueImpl* queue) noexcept : frame_{queue, innermostFrame()} {
    innermostFrame() = &frame_;
  }
  ~RunningScope() { innermostFrame() = frame_.outer; }
  RunningScope(const RunningScope&) = delete;
  RunningScope& operator=(const RunningScope&) = delete;

 private:
  RunningFrame frame_;
};

// The main queue (kept for the life of the process).
const std::shared_ptr<QueueImpl>& mainQueueImpl();

// Posts `work` to the shared pool.
void postToPool(std::function<void()> work);
// Runs `work` on the pool once `delay` (real time) has passed.
void postToPoolAfter(std::chrono::nanoseconds delay, std::function<void()> work);

}  // namespace zorlan::detail
