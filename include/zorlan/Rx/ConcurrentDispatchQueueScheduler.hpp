// ConcurrentDispatchQueueScheduler: a scheduler over a (possibly concurrent)
// dispatch queue; actions may run in parallel.
#pragma once

#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Rx/SchedulerType.hpp"

namespace zorlan::rx {

class ConcurrentDispatchQueueScheduler : public SchedulerType {
 public:
  explicit ConcurrentDispatchQueueScheduler(DispatchQueue queue,
                                            RxTimeInterval leeway = RxTimeInterval::zero());
  explicit ConcurrentDispatchQueueScheduler(DispatchQoS qos,
                                            RxTimeInterval leeway = RxTimeInterval::zero());

  RxTime now() const override;
  Disposable schedule(std::function<Disposable()> action) override;
  Disposable scheduleRelative(RxTimeInterval dueTime, std::function<Disposable()> action) override;

  const DispatchQueue& queue() const noexcept { return queue_; }
  RxTimeInterval leeway() const noexcept { return leeway_; }

 private:
  DispatchQueue queue_;
  RxTimeInterval leeway_;
};

}  // namespace zorlan::rx
