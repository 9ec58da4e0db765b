#include "zorlan/Rx/VirtualTimeScheduler.hpp"

#include <algorithm>

#include "Rx/ScheduledAction.hpp"

namespace zorlan::rx {
namespace {

// `time + interval`, saturating at the ends of the virtual clock.
RxTime later(RxTime time, RxTimeInterval interval) {
  std::int64_t sum = 0;
  if (__builtin_add_overflow(time.time_since_epoch().count(), interval.count(), &sum)) {
    return interval.count() > 0 ? RxTime::max() : RxTime::min();
  }
  return RxTime(RxTimeInterval(sum));
}

}  // namespace

struct VirtualTimeScheduler::Item final : detail::ScheduledAction {
  using ScheduledAction::ScheduledAction;
};

RxTime VirtualTimeScheduler::now() const {
  std::lock_guard lock(mutex_);
  return clock_;
}

Disposable VirtualTimeScheduler::schedule(std::function<Disposable()> action) {
  return scheduleRelative(RxTimeInterval::zero(), std::move(action));
}

Disposable VirtualTimeScheduler::scheduleRelative(RxTimeInterval dueTime,
                                                  std::function<Disposable()> action) {
  return scheduleAbsolute(later(now(), std::max(dueTime, RxTimeInterval::zero())),
                          std::move(action));
}

Disposable VirtualTimeScheduler::scheduleAbsolute(RxTime dueTime,
                                                  std::function<Disposable()> action) {
  auto item = std::make_shared<Item>(std::move(action));
  std::lock_guard lock(mutex_);
  queue_.emplace(std::make_pair(std::max(dueTime, clock_), ++sequence_), item);
  return Disposable(item);
}

bool VirtualTimeScheduler::runNext(RxTime limit) {
  std::shared_ptr<Item> item;
  {
    std::lock_guard lock(mutex_);
    if (queue_.empty() || queue_.begin()->first.first > limit) return false;
    auto it = queue_.begin();
    clock_ = std::max(clock_, it->first.first);
    item = it->second;
    queue_.erase(it);
  }
  item->run();
  return true;
}

void VirtualTimeScheduler::advanceTo(RxTime time) {
  while (runNext(time)) {
  }
  std::lock_guard lock(mutex_);
  clock_ = std::max(clock_, time);
}

void VirtualTimeScheduler::advanceBy(RxTimeInterval interval) { advanceTo(later(now(), interval)); }

void VirtualTimeScheduler::start() {
  while (runNext(RxTime::max())) {
  }
}

}  // namespace zorlan::rx
