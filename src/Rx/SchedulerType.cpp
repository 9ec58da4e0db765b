#include "zorlan/Rx/SchedulerType.hpp"

#include <atomic>
#include <mutex>
#include <utility>

namespace zorlan::rx {
namespace {

// Periodic work built from one-shot relative schedules: each run schedules the
// next, and disposing stops the chain and cancels the pending run.
class PeriodicChain final : public DisposableBase,
                            public std::enable_shared_from_this<PeriodicChain> {
 public:
  PeriodicChain(SchedulerType& scheduler, RxTimeInterval period, std::function<void()> action)
      : scheduler_(scheduler), period_(period), action_(std::move(action)) {}

  void start(RxTimeInterval startAfter) { scheduleNext(startAfter); }

  void dispose() override {
    if (disposed_.exchange(true)) return;
    Disposable pending;
    {
      std::lock_guard lock(mutex_);
      pending = std::exchange(pending_, Disposable());
    }
    pending.dispose();
  }
  bool isDisposed() const override { return disposed_.load(); }

 private:
  void scheduleNext(RxTimeInterval delay) {
    if (disposed_.load()) return;
    std::weak_ptr<PeriodicChain> weak = weak_from_this();
    Disposable next = scheduler_.scheduleRelative(delay, [weak] {
      if (auto self = weak.lock(); self && !self->disposed_.load()) {
        self->action_();
        self->scheduleNext(self->period_);
      }
      return Disposable();
    });
    std::lock_guard lock(mutex_);
    if (disposed_.load()) {
      next.dispose();
    } else {
      pending_ = std::move(next);
    }
  }

  SchedulerType& scheduler_;
  RxTimeInterval period_;
  std::function<void()> action_;
  std::atomic<bool> disposed_{false};
  std::mutex mutex_;
  Disposable pending_;
};

}  // namespace

Disposable SchedulerType::schedulePeriodic(RxTimeInterval startAfter, RxTimeInterval period,
                                           std::function<void()> action) {
  auto chain = std::make_shared<PeriodicChain>(*this, period, std::move(action));
  chain->start(startAfter);
  return Disposable(chain);
}

}  // namespace zorlan::rx
