#include "Dispatch/QueueImpl.hpp"

#include <algorithm>
#include <exception>
#include <string>

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
// targets, so that a nested `sync` onto any of them is caught.
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

}  // namespace

std::vector<QueueImpl*>& runningQueues() {
  thread_local std::vector<QueueImpl*> running;
  return running;
}

QueueImpl::QueueImpl(Kind kind, std::string label, DispatchQoS qos,
                     std::shared_ptr<QueueImpl> target)
    : kind(kind), label(std::move(label)), qos(qos), target(std::move(target)) {}

void QueueImpl::submit(std::function<void()> work) {
  switch (kind) {
    case Kind::global:
      postToPool([self = shared_from_this(), work = std::move(work)] {
        RunningScope scope(self.get());
        try {
          work();
        } catch (...) {
          uncaught(self->label);
        }
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
      bool schedule = false;
      {
        std::lock_guard lock(mutex_);
        items_.push_back(QueueItem{std::move(work), nullptr});
        schedule = !active_;
        active_ = true;
      }
      if (schedule) scheduleDrain();
      return;
    }
  }
}

void QueueImpl::scheduleDrain() {
  target->submit([self = shared_from_this()] { self->drain(); });
}

void QueueImpl::drain() {
  RunningScope scope(this);
  for (int ran = 0;; ++ran) {
    QueueItem item;
    {
      std::lock_guard lock(mutex_);
      if (items_.empty()) {
        active_ = false;
        return;
      }
      if (ran == kDrainBatch) break;
      item = std::move(items_.front());
      items_.pop_front();
    }
    runItem(item);
  }
  scheduleDrain();  // more items: give the pool thread back, then go on
}

void QueueImpl::runItem(QueueItem& item) {
  if (item.waiter) {
    handOver(*item.waiter);
    return;
  }
  try {
    item.work();
  } catch (...) {
    uncaught(label);
  }
}

void QueueImpl::handOver(SyncWaiter& waiter) {
  {
    std::lock_guard lock(waiter.mutex);
    waiter.turn = true;
  }
  waiter.changed.notify_all();
  std::unique_lock lock(waiter.mutex);
  waiter.changed.wait(lock, [&] { return waiter.done; });
}

void QueueImpl::releaseAfterInline() {
  bool schedule = false;
  {
    std::lock_guard lock(mutex_);
    if (items_.empty()) {
      active_ = false;
    } else {
      schedule = true;
    }
  }
  if (schedule) scheduleDrain();
}

void QueueImpl::sync(void (*call)(void*), void* context) {
  const auto& running = runningQueues();
  for (QueueImpl* q = this; q && q->kind != Kind::global; q = q->target.get()) {
    bool deadlock = std::find(running.begin(), running.end(), q) != running.end();
    if (deadlock) {
      std::string message = "sync onto queue \"" + label +
                            "\" from work running on queue \"" + q->label +
                            "\" would deadlock";
      ZORLAN_PRECONDITION(false, message);
    }
  }
  std::exception_ptr failure;
  if (kind == Kind::global) {
    RunningScope scope(this);
    call(context);
    return;
  }
  if (kind == Kind::serial && target->kind == Kind::global) {
    std::unique_lock lock(mutex_);
    if (!active_ && items_.empty()) {
      active_ = true;
      lock.unlock();
      {
        RunningScope scope(this);
        try {
          call(context);
        } catch (...) {
          failure = std::current_exception();
        }
      }
      releaseAfterInline();
      if (failure) std::rethrow_exception(failure);
      return;
    }
  }
  // Wait for the queue to reach this call, then run on the calling thread
  // while the queue's drainer holds the queue (and its targets) for us.
  auto shared = std::make_shared<SyncWaiter>();
  SyncWaiter& waiter = *shared;
  bool schedule = false;
  {
    std::lock_guard lock(mutex_);
    items_.push_back(QueueItem{nullptr, shared});
    if (kind == Kind::serial) {
      schedule = !active_;
      active_ = true;
    }
  }
  if (kind == Kind::main) mainChanged_.notify_all();
  if (schedule) scheduleDrain();
  {
    std::unique_lock lock(waiter.mutex);
    waiter.changed.wait(lock, [&] { return waiter.turn; });
  }
  {
    ChainScope scope(this);
    try {
      call(context);
    } catch (...) {
      failure = std::current_exception();
    }
  }
  {
    std::lock_guard lock(waiter.mutex);
    waiter.done = true;
  }
  waiter.changed.notify_all();
  if (failure) std::rethrow_exception(failure);
}

void QueueImpl::submitAfter(DispatchTime deadline, std::function<void()> work) {
  if (kind == Kind::main) {
    {
      std::lock_guard lock(mutex_);
      timers_.emplace(deadline.uptimeNanoseconds(), std::move(work));
    }
    mainChanged_.notify_all();
    return;
  }
  std::int64_t delay = deadline.uptimeNanoseconds() - DispatchTime::now().uptimeNanoseconds();
  if (delay <= 0) {
    submit(std::move(work));
    return;
  }
  postToPoolAfter(std::chrono::nanoseconds(delay),
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
          auto due = std::chrono::nanoseconds(timers_.begin()->first -
                                              DispatchTime::now().uptimeNanoseconds());
          wake = std::min(wake, now + due);
        }
        mainChanged_.wait_until(lock, wake);
      }
      item = std::move(items_.front());
      items_.pop_front();
    }
    {
      RunningScope scope(this);
      runItem(item);
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

}  // namespace zorlan::detail
