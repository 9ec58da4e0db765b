// ConcurrentMainScheduler: runs actions at once when on the main queue,
// otherwise on it; delayed actions go through the main scheduler.
#pragma once

#include <memory>

#include "zorlan/Rx/SchedulerType.hpp"

namespace zorlan::rx {

class ConcurrentMainScheduler : public SchedulerType {
 public:
  static std::shared_ptr<ConcurrentMainScheduler> instance();

  RxTime now() const override;
  Disposable schedule(std::function<Disposable()> action) override;
  Disposable scheduleRelative(RxTimeInterval dueTime, std::function<Disposable()> action) override;
};

}  // namespace zorlan::rx
