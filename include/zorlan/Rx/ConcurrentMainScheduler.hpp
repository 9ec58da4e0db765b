// ConcurrentMainScheduler: runs actions at once when on the main queue,
// otherwise on it; delayed actions go through the main scheduler.
#pragma once

#include <functional>
#include <memory>

#include "zorlan/Rx/SchedulerType.hpp"

namespace zorlan::rx {

// For work that must happen on the main queue but may start right away:
// `schedule` runs the action on the caller's stack when the caller is on the
// main queue (even while other main-queue work waits), otherwise submits it
// to the main queue. Delayed and periodic actions go through
// `MainScheduler::instance()`. Thread-safe.
class ConcurrentMainScheduler : public SchedulerType {
 public:
  // The shared instance. Never null; lives for the whole process.
  static std::shared_ptr<ConcurrentMainScheduler> instance();

  // Wall-clock time.
  RxTime now() const override;
  Disposable schedule(std::function<Disposable()> action) override;
  Disposable scheduleRelative(RxTimeInterval dueTime, std::function<Disposable()> action) override;
  Disposable schedulePeriodic(RxTimeInterval startAfter, RxTimeInterval period,
                              std::function<void()> action) override;
};

}  // namespace zorlan::rx
