#include "Dispatch/QueueImpl.hpp"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#if defined(__linux__)
#include <unistd.h>
#endif

#include "Base/HotPath.hpp"
#include "zorlan/Base/Precondition.hpp"

namespace zorlan::detail {
namespace {

// Items a serial queue runs before yielding its pool thread to other work.
constexpr int kDrainBatch = 1024;

// Plain pointers, never destroyed (see `innermostFrame`).
thread_local RunningFrame* tInnermost ZORLAN_HOT_THREAD_LOCAL = nullptr;
// The `sync` caller on whose behalf this thread drains a root (`helpDrain`).
thread_local SyncWaiter* tHelping ZORLAN_HOT_THREAD_LOCAL = nullptr;

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

// Marks the calling thread as draining on behalf of `waiter`.
class HelpingScope {
 public:
  explicit HelpingScope(SyncWaiter* waiter) noexcept : outer_(std::exchange(tHelping, waiter)) {}
  ~HelpingScope() { tHelping = outer_; }
  HelpingScope(const HelpingScope&) = delete;
  HelpingScope& operator=(const HelpingScope&) = delete;

 private:
  SyncWaiter* outer_;
};

// Runs a waiting caller's work where the calling thread, draining on its
// behalf, reached its place: the thread already holds the chain.
void runOnBehalf(SyncWaiter& waiter) {
  try {
    waiter.call(waiter.context);
  } catch (...) {
    waiter.failure = std::current_exception();
  }
  std::lock_guard lock(waiter.mutex);
  waiter.done = true;
}

void signalDone(SyncWaiter& waiter) {
  {
    std::lock_guard lock(waiter.mutex);
    waiter.done = true;
  }
  waiter.changed.notify_all();
}

bool inChain(const QueueImpl* queue, const QueueImpl* chainStart) {
  for (const QueueImpl* q = chainStart; q; q = q->target.get()) {
    if (q == queue) return true;
  }
  return false;
}

// The calling thread is the process's first thread.
bool onFirstThread() {
#if defined(__linux__)
  return ::gettid() == ::getpid();
#else
  return false;
#endif
}

}  // namespace

ZORLAN_HOT RunningFrame*& innermostFrame() noexcept { return tInnermost; }

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
      handsOffFreely_(kind == Kind::serial && this->target->kind == Kind::global),
      root_([this]() -> QueueImpl* {
        if (this->kind == Kind::global) return nullptr;
        if (!this->target || this->target->kind == Kind::global) return this;
        return this->target->root_;
      }()) {}

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
      busy_.store(true, std::memory_order_release);
      postDrain(lock);
      return;
    }
  }
}

void QueueImpl::postDrain(std::unique_lock<std::mutex>& lock) {
  if (handsOffFreely()) {
    posted_ = true;
    const std::uint64_t ticket = ++ticket_;
    // Callers blocked on this chain may take the drain over before a pool
    // thread starts it (all pool threads may be among them).
    for (SyncWaiter* helper : helpers_) {
      {
        std::lock_guard helperLock(helper->mutex);
        helper->help = true;
      }
      helper->changed.notify_all();
    }
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
    busy_.store(false, std::memory_order_release);
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
// a `sync` caller of this queue runs, so their work never overlaps. A thread
// draining for a caller runs that caller's work itself, then stops.
void QueueImpl::drainTarget() {
  RunningScope scope(this);
  SyncWaiter* const helping = tHelping;
  std::unique_lock lock(mutex_);
  for (int ran = 0; ran < kDrainBatch && !items_.empty(); ++ran) {
    QueueItem item = std::move(items_.front());
    items_.pop_front();
    lock.unlock();
    if (!item.waiter) {
      runWork(item.work);
    } else if (item.waiter.get() == helping) {
      runOnBehalf(*item.waiter);
    } else {
      handOverAndWait(*item.waiter);
    }
    lock.lock();
    if (helping && helping->done) break;  // what is left goes back to the target
  }
  passOwnership(lock);
}

void QueueImpl::handOverAndWait(SyncWaiter& waiter) {
  giveTurn(waiter);
  std::unique_lock lock(waiter.mutex);
  waiter.changed.wait(lock, [&] { return waiter.done; });
}

void QueueImpl::requireNotHeld(const RunningFrame* frame) const {
  if (!root_) return;  // a global queue: its work simply runs
  for (; frame; frame = frame->outer) {
    if (frame->queue->root_ != root_) continue;
    // The innermost queue of this chain that the caller holds.
    const QueueImpl* held = this;
    while (!inChain(held, frame->queue)) held = held->target.get();
    std::string message = "sync onto queue \"" + label + "\" from work running on queue \"" +
                          held->label + "\" would deadlock";
    ZORLAN_PRECONDITION(false, message);
  }
}

ZORLAN_HOT void QueueImpl::sync(void (*call)(void*), void* context) {
  // A thread that runs no queue's work cannot deadlock here.
  if (const RunningFrame* frame = tInnermost) requireNotHeld(frame);
  if (kind == Kind::global) {
    RunningScope scope(this);
    call(context);
    return;
  }
  std::unique_lock lock(mutex_);
  if (kind == Kind::main || active_) {
    syncAsWaiter(lock, call, context);
    return;
  }
  active_ = true;
  busy_.store(true, std::memory_order_release);
  lock.unlock();
  if (handsOffFreely()) {
    runAsOwner(call, context);
  } else {
    // Hold this queue, then run inside a `sync` onto the target, which holds
    // the target chain for us in turn (inline when it is idle too).
    syncThroughTarget(call, context);
  }
}

ZORLAN_HOT void QueueImpl::runAsOwner(void (*call)(void*), void* context) {
  std::exception_ptr failure;
  {
    RunningScope scope(this);
    try {
      call(context);
    } catch (...) {
      failure = std::current_exception();
    }
  }
  std::unique_lock lock(mutex_);
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

// `sync` on a busy queue or on the main queue: queue up and wait for the
// turn. On a pool root, the turn makes the caller the owner; on the main queue
// and on queues with a serial target, the owner holds the chain for the
// caller and waits for it to finish. A caller that drains the root itself may
// reach its own place and run its work there.
void QueueImpl::syncAsWaiter(std::unique_lock<std::mutex>& lock, void (*call)(void*),
                             void* context) {
  if (root_->kind == Kind::main) {
    if (kind == Kind::main) {
      lock.unlock();
      requireMainQueueRuns(label);
      lock.lock();
    } else {
      root_->requireMainQueueRuns(label);
    }
  }
  auto waiter = std::make_shared<SyncWaiter>(call, context);
  items_.push_back(QueueItem{nullptr, waiter});
  lock.unlock();
  if (kind == Kind::main) mainChanged_.notify_all();
  waitServing(*waiter);
  if (handsOffFreely()) {  // the queue is ours
    runAsOwner(call, context);
    return;
  }
  if (!waiter->done) {
    {
      RunningScope scope(this);
      try {
        call(context);
      } catch (...) {
        waiter->failure = std::current_exception();
      }
    }
    signalDone(*waiter);
  }
  if (waiter->failure) std::rethrow_exception(waiter->failure);
}

void QueueImpl::waitServing(SyncWaiter& waiter) {
  QueueImpl* const root = root_;
  const bool canHelp = root->handsOffFreely();
  if (canHelp) {
    std::lock_guard lock(root->mutex_);
    root->helpers_.push_back(&waiter);
    if (root->posted_) {
      std::lock_guard waiterLock(waiter.mutex);
      waiter.help = true;
    }
  }
  while (true) {
    {
      std::unique_lock lock(waiter.mutex);
      waiter.changed.wait(lock, [&] { return waiter.turn || waiter.help; });
      if (waiter.turn) break;
      waiter.help = false;
    }
    root->helpDrain(waiter);
    if (waiter.done) break;  // this thread reached its own place and ran the work
  }
  if (canHelp) {
    std::lock_guard lock(root->mutex_);
    auto& helpers = root->helpers_;
    helpers.erase(std::find(helpers.begin(), helpers.end(), &waiter));
  }
}

void QueueImpl::helpDrain(SyncWaiter& waiter) {
  std::unique_lock lock(mutex_);
  if (!posted_) return;  // started by a pool thread or another caller, or done
  posted_ = false;       // the posted drain, when it starts, finds the queue taken
  RunningScope scope(this);
  HelpingScope helping(&waiter);
  while (!items_.empty()) {
    QueueItem item = std::move(items_.front());
    items_.pop_front();
    if (item.waiter) {
      lock.unlock();
      giveTurn(*item.waiter);  // the queue passes to that caller, maybe this one
      return;
    }
    lock.unlock();
    runWork(item.work);
    lock.lock();
    if (waiter.done) break;  // served further down the chain
  }
  passOwnership(lock);
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

void QueueImpl::requireMainQueueRuns(const std::string& syncedLabel) {
  bool forever = false;
  {
    std::lock_guard lock(mutex_);
    forever = !mainRunning_ &&
              (mainHasRun_ ? mainThread_ == std::this_thread::get_id() : onFirstThread());
  }
  if (forever) {
    std::string message = "sync onto queue \"" + syncedLabel +
                          "\" from the main thread while the main queue is not being run would "
                          "wait forever (run it with MainRunLoop)";
    ZORLAN_PRECONDITION(false, message);
  }
}

std::size_t QueueImpl::runMain(bool wait, std::chrono::steady_clock::time_point until) {
  {
    std::lock_guard lock(mutex_);
    ZORLAN_PRECONDITION(!mainRunning_,
                        "the main queue is already being run (by another thread, or by the work "
                        "that called run, runFor or runUntilIdle)");
    mainRunning_ = true;
    mainHasRun_ = true;
    mainThread_ = std::this_thread::get_id();
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
