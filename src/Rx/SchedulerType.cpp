#include "zorlan/Rx/SchedulerType.hpp"

#include <atomic>
#include <mutex>
#include <utility>

#include "zorlan/Base/Precondition.hpp"

namespace zorlan::rx {
namespace {

// Periodic work built from one-shot relative schedules: each run schedules the
// next, and disposing stops the chain and cancels the pending run. The pending
// run owns the chain, so the work goes on when the caller drops its handle.
// The chain holds the scheduler and its pending run only weakly (no cycle
// through the scheduler's queue), so work left on a scheduler that goes away
// ends with it instead of calling into it.
class PeriodicChain final : public DisposableBase,
                            public std::enable_shared_from_this<PeriodicChain> {
 public:
  PeriodicChain(std::weak_ptr<SchedulerType> scheduler, RxTimeInterval period,
                std::function<void()> action)
      : scheduler_(std::move(scheduler)), period_(period), action_(std::move(action)) {}

  void start(SchedulerType& scheduler, RxTimeInterval startAfter) {
    scheduleNext(scheduler, startAfter);
  }

  void dispose() override {
    if (disposed_.exchange(true)) return;
    std::shared_ptr<DisposableBase> pending;
    {
      std::lock_guard lock(mutex_);
      pending = std::exchange(pending_, {}).lock();
    }
    if (pending) pending->dispose();
  }
  bool isDisposed() const override { return disposed_.load(); }

 private:
  void tick() {
    auto scheduler = scheduler_.lock();
    if (!scheduler || disposed_.load()) return;
    action_();
    scheduleNext(*scheduler, period_);
  }

  void scheduleNext(SchedulerType& scheduler, RxTimeInterval delay) {
    if (disposed_.load()) return;
    Disposable next = scheduler.scheduleRelative(delay, [self = shared_from_this()] {
      self->tick();
      return Disposable();
    });
    std::lock_guard lock(mutex_);
    if (disposed_.load()) {
      next.dispose();
    } else {
      pending_ = next.base();
    }
  }

  const std::weak_ptr<SchedulerType> scheduler_;
  const RxTimeInterval period_;
  const std::function<void()> action_;
  std::atomic<bool> disposed_{false};
  std::mutex mutex_;
  std::weak_ptr<DisposableBase> pending_;  // a run that was disposed does nothing anyway
};

}  // namespace

Disposable SchedulerType::schedulePeriodic(RxTimeInterval startAfter, RxTimeInterval period,
                                           std::function<void()> action) {
  std::weak_ptr<SchedulerType> self = weak_from_this();
  ZORLAN_PRECONDITION(!self.expired(),
                      "schedulePeriodic needs a scheduler owned by a std::shared_ptr");
  auto chain = std::make_shared<PeriodicChain>(std::move(self), period, std::move(action));
  chain->start(*this, startAfter);
  return Disposable(chain);
}

}  // namespace zorlan::rx
