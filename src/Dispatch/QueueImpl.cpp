#include "Dispatch/QueueImpl.hpp"

#include <algorithm>
#include <exception>
#include <string>

#include "Platform/HotPath.hpp"
#include "zorlan/Platform/Precondition.hpp"

namespace zorlan::detail {
namespace {

// Items a serial queue runs before yielding its pool thread to other work.
constexpr int kDrainBatch = 1024;

[[noreturn]] void uncaught(const std::string& label) {
  std::string what = "unknown exception";
  try {
    throw;
  } catch (const std::exception& e) {
    what = e.what();
  } catch (...) {
  }
  std::string message = "uncaught exception in work on queue \"" + label + "\": " + what;
  ZORLAN_FATAL(message);
}

// Marks the calling thread as running `queue` and the serial queues it
// targets, so that a nested `sync` onto any of them is caught and specifics
// are found through them.
class ChainScope {
 public:
  explicit ChainScope(QueueImpl* queue) {
    std::vector<QueueImpl*> chain;
    for (QueueImpl* q = queue; q && q->kind != QueueImpl::Kind::global; q = q->target.get()) {
      chain.push_back(q);
    }
    auto& running = runningQueues();
    pushed_ = chain.size();
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) running.push_back(*it);
  }
  ~ChainScope() {
    auto& running = runningQueues();
    running.resize(running.size() - pushed_);
  }
  ChainScope(const ChainScope&) = delete;
  ChainScope& operator=(const ChainScope&) = delete;

 private:
  std::size_t pushed_;
};

void waitForTurn(SyncWaiter& waiter) {
  std::unique_lock lock(waiter.mutex);
  waiter.changed.wait(lock, [&] { return waiter.turn; });
}

void signalDone(SyncWaiter& waiter) {
  {
    std::lock_guard lock(waiter.mutex);
    waiter.done = true;
  }
  waiter.changed.notify_all();
}

}  // namespace

ZORLAN_HOT std::vector<QueueImpl*>& runningQueues() {
  thread_local std::vector<QueueImpl*> running ZORLAN_HOT_THREAD_LOCAL;
  return running;
}

const std::shared_ptr<QueueImpl>& mainQueueImpl() {
  // Kept for the life of the process, like the queues' thread pool.
  static auto* impl = new std::shared_ptr<QueueImpl>(std::make_shared<QueueImpl>(
      QueueImpl::Kind::main, "com.apple.main-thread", DispatchQoS::userInteractive, nullptr));
  return *impl;
}

QueueImpl::QueueImpl(Kind kind, std::string label, DispatchQoS qos,
                     std::shared_ptr<QueueImpl> target)
    : kind(kind),
      label(std::move(label)),
      qos(qos),
      target(std::move(target)),
      handsOffFreely_(kind == Kind::serial && this->target->kind == Kind::global) {}

void QueueImpl::runWork(std::function<void()>& work) {
  try {
    work();
  } catch (...) {
    uncaught(label);
  }
}

void QueueImpl::submit(std::function<void()> work) {
  switch (kind) {
    case Kind::global:
      postToPool([self = shared_from_this(), work = std::move(work)]() mutable {
        RunningScope scope(self.get());
        self->runWork(work);
      });
      return;
    case Kind::main: {
      {
        std::lock_guard lock(mutex_);
        items_.push_back(QueueItem{std::move(work), nullptr});
      }
      mainChanged_.notify_all();
      return;
    }
    case Kind::serial: {
      std::unique_lock lock(mutex_);
      items_.push_back(QueueItem{std::move(work), nullptr});
      if (active_) return;
      active_ = true;
      postDrain(lock);
      return;
    }
  }
}

void QueueImpl::postDrain(std::unique_lock<std::mutex>& lock) {
  if (handsOffFreely()) {
    posted_ = true;
    const std::uint64_t ticket = ++ticket_;
    lock.unlock();
    postToPool([self = shared_from_this(), ticket] { self->drain(ticket); });
  } else {
    lock.unlock();
    target->submit([self = shared_from_this()] { self->drainTarget(); });
  }
}

ZORLAN_HOT void QueueImpl::passOwnership(std::unique_lock<std::mutex>& lock) {
  if (items_.empty()) {
    active_ = false;
    lock.unlock();
    return;
  }
  if (handsOffFreely() && items_.front().waiter) {
    std::shared_ptr<SyncWaiter> next = std::move(items_.front().waiter);
    items_.pop_front();
    lock.unlock();
    giveTurn(*next);
    return;
  }
  postDrain(lock);
}

void QueueImpl::giveTurn(SyncWaiter& waiter) {
  {
    std::lock_guard lock(waiter.mutex);
    waiter.turn = true;
  }
  waiter.changed.notify_all();
}

// A drain posted to the pool for a queue that targets a global queue.
void QueueImpl::drain(std::uint64_t ticket) {
  std::unique_lock lock(mutex_);
  if (!posted_ || ticket != ticket_) return;  // a sync caller took the queue over
  posted_ = false;
  RunningScope scope(this);
  for (int ran = 0; ran < kDrainBatch && !items_.empty() && !items_.front().waiter; ++ran) {
    QueueItem item = std::move(items_.front());
    items_.pop_front();
    lock.unlock();
    runWork(item.work);
    lock.lock();
  }
  passOwnership(lock);  // more items after a full batch: re-post, letting other pool work in
}

// A drain running as an item of a serial target: the target stays held while
// a `sync` caller of this queue runs, so their work never overlaps.
void QueueImpl::drainTarget() {
  RunningScope scope(this);
  for (int ran = 0; ran < kDrainBatch; ++ran) {
    QueueItem item;
    {
      std::lock_guard lock(mutex_);
      if (items_.empty()) {
        active_ = false;
        return;
      }
      item = std::move(items_.front());
      items_.pop_front();
    }
    if (item.waiter) {
      handOverAndWait(*item.waiter);
    } else {
      runWork(item.work);
    }
  }
  std::unique_lock lock(mutex_);
  passOwnership(lock);
}

void QueueImpl::handOverAndWait(SyncWaiter& waiter) {
  giveTurn(waiter);
  std::unique_lock lock(waiter.mutex);
  waiter.changed.wait(lock, [&] { return waiter.done; });
}

bool QueueImpl::runAsOwnerUntil(const SyncWaiter* mine) {
  RunningScope scope(this);
  std::unique_lock lock(mutex_);
  while (true) {
    // `mine` is still queued, so the list is not empty.
    QueueItem item = std::move(items_.front());
    items_.pop_front();
    if (item.waiter.get() == mine) return true;
    if (item.waiter) {
      lock.unlock();
      giveTurn(*item.waiter);
      return false;
    }
    lock.unlock();
    runWork(item.work);
    lock.lock();
  }
}

ZORLAN_HOT void QueueImpl::sync(void (*call)(void*), void* context) {
  auto& running = runningQueues();
  // A thread that runs no queue's work cannot deadlock here.
  for (QueueImpl* q = running.empty() ? nullptr : this; q && q->kind != Kind::global;
       q = q->target.get()) {
    if (std::find(running.begin(), running.end(), q) != running.end()) {
      std::string message = "sync onto queue \"" + label + "\" from work running on queue \"" +
                            q->label + "\" would deadlock";
      ZORLAN_PRECONDITION(false, message);
    }
  }
  if (kind == Kind::global) {
    RunningScope scope(this);
    call(context);
    return;
  }
  if (kind == Kind::serial && !handsOffFreely()) {
    std::unique_lock lock(mutex_);
    if (!active_) {
      // Idle: hold this queue, then run inside a `sync` onto the target, which
      // holds the target chain for us in turn (inline when it is idle too).
      active_ = true;
      lock.unlock();
      syncThroughTarget(call, context);
      return;
    }
  }
  if (!handsOffFreely()) {
    syncAsWaiter(call, context);
    return;
  }

  std::exception_ptr failure;
  std::unique_lock lock(mutex_);
  if (active_) {
    // Queue up; take the queue over at once when its owner is a drain that
    // has not started (the pool may be too busy to start it), else wait.
    auto waiter = std::make_shared<SyncWaiter>();
    items_.push_back(QueueItem{nullptr, waiter});
    bool mine = false;
    if (posted_) {
      posted_ = false;
      lock.unlock();
      mine = runAsOwnerUntil(waiter.get());
    } else {
      lock.unlock();
    }
    if (!mine) waitForTurn(*waiter);
  } else {
    active_ = true;
    lock.unlock();
  }
  {
    RunningScope scope(running, this);
    try {
      call(context);
    } catch (...) {
      failure = std::current_exception();
    }
  }
  lock.lock();
  passOwnership(lock);
  if (failure) std::rethrow_exception(failure);
}

void QueueImpl::syncThroughTarget(void (*call)(void*), void* context) {
  struct Inner {
    QueueImpl* self;
    void (*call)(void*);
    void* context;
    std::exception_ptr failure;
  } inner{this, call, context, nullptr};
  target->sync(
      [](void* raw) {
        auto& in = *static_cast<Inner*>(raw);
        RunningScope scope(in.self);
        try {
          in.call(in.context);
        } catch (...) {
          in.failure = std::current_exception();
        }
      },
      &inner);
  std::unique_lock lock(mutex_);
  passOwnership(lock);
  if (inner.failure) std::rethrow_exception(inner.failure);
}

// `sync` on the main queue or on a queue with a serial target: wait until the
// owner reaches this call and holds the queue (and its targets) for us, then
// run on the calling thread.
void QueueImpl::syncAsWaiter(void (*call)(void*), void* context) {
  auto waiter = std::make_shared<SyncWaiter>();
  {
    std::unique_lock lock(mutex_);
    items_.push_back(QueueItem{nullptr, waiter});
    if (kind == Kind::serial && !active_) {
      active_ = true;
      postDrain(lock);
    }
  }
  if (kind == Kind::main) mainChanged_.notify_all();
  waitForTurn(*waiter);
  std::exception_ptr failure;
  {
    ChainScope scope(this);
    try {
      call(context);
    } catch (...) {
      failure = std::current_exception();
    }
  }
  signalDone(*waiter);
  if (failure) std::rethrow_exception(failure);
}

void QueueImpl::submitAfter(DispatchTime deadline, std::function<void()> work) {
  if (deadline == DispatchTime::distantFuture()) return;  // never due
  if (kind == Kind::main) {
    {
      std::lock_guard lock(mutex_);
      timers_.emplace(deadline.uptimeNanoseconds(), std::move(work));
    }
    mainChanged_.notify_all();
    return;
  }
  const std::int64_t now = DispatchTime::now().uptimeNanoseconds();
  if (deadline.uptimeNanoseconds() <= now) {
    submit(std::move(work));
    return;
  }
  postToPoolAfter(std::chrono::nanoseconds(deadline.uptimeNanoseconds() - now),
                  [self = shared_from_this(), work = std::move(work)]() mutable {
                    self->submit(std::move(work));
                  });
}

void QueueImpl::setSpecific(std::uint64_t key, std::shared_ptr<const void> value) {
  std::lock_guard lock(specificsMutex_);
  if (value) {
    specifics_[key] = std::move(value);
  } else {
    specifics_.erase(key);
  }
}

std::shared_ptr<const void> QueueImpl::specific(std::uint64_t key) const {
  std::lock_guard lock(specificsMutex_);
  auto it = specifics_.find(key);
  return it == specifics_.end() ? nullptr : it->second;
}

bool QueueImpl::takeDueTimers() {
  bool moved = false;
  const std::int64_t now = DispatchTime::now().uptimeNanoseconds();
  while (!timers_.empty() && timers_.begin()->first <= now) {
    items_.push_back(QueueItem{std::move(timers_.begin()->second), nullptr});
    timers_.erase(timers_.begin());
    moved = true;
  }
  return moved;
}

std::size_t QueueImpl::runMain(bool wait, std::chrono::steady_clock::time_point until) {
  {
    std::lock_guard lock(mutex_);
    ZORLAN_PRECONDITION(!mainRunning_,
                        "the main queue is already being run (by another thread, or by the work "
                        "that called run, runFor or runUntilIdle)");
    mainRunning_ = true;
  }
  struct Finish {
    QueueImpl* self;
    ~Finish() {
      std::lock_guard lock(self->mutex_);
      self->mainRunning_ = false;
    }
  } finish{this};

  std::size_t ran = 0;
  while (true) {
    QueueItem item;
    {
      std::unique_lock lock(mutex_);
      while (true) {
        takeDueTimers();
        if (wait && stopRequested_) {
          stopRequested_ = false;
          return ran;
        }
        if (!items_.empty()) break;
        if (!wait) return ran;
        auto now = std::chrono::steady_clock::now();
        if (now >= until) return ran;
        auto wake = until;
        if (!timers_.empty() && !DispatchClock::isManual()) {
          std::int64_t due = timers_.begin()->first - DispatchTime::now().uptimeNanoseconds();
          if (due < std::chrono::duration_cast<std::chrono::nanoseconds>(until - now).count()) {
            wake = now + std::chrono::nanoseconds(due);
          }
        }
        mainChanged_.wait_until(lock, wake);
      }
      item = std::move(items_.front());
      items_.pop_front();
    }
    {
      RunningScope scope(this);
      if (item.waiter) {
        handOverAndWait(*item.waiter);
      } else {
        runWork(item.work);
      }
    }
    ++ran;
  }
}

void QueueImpl::stopMain() {
  {
    std::lock_guard lock(mutex_);
    stopRequested_ = true;
  }
  mainChanged_.notify_all();
}

void QueueImpl::wakeMain() {
  { std::lock_guard lock(mutex_); }
  mainChanged_.notify_all();
}

}  // namespace zorlan::detail
