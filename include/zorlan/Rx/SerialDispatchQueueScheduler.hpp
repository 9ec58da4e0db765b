// SerialDispatchQueueScheduler: a scheduler that runs actions one at a time
// on its own serial dispatch queue.
#pragma once

#include <string>

#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Rx/SchedulerType.hpp"

namespace zorlan::rx {

// Actions run in scheduling order on an internal serial queue named
// `internalSerialQueueName` that targets the given queue (or the global queue
// of `qos`). Delayed actions use the dispatch clock; `now()` is wall-clock
// time. The leeway is kept for callers; timers are never coalesced.
class SerialDispatchQueueScheduler : public SchedulerType {
 public:
  static constexpr const char* kDefaultQueueName = "rx.global_dispatch_queue.serial";

  explicit SerialDispatchQueueScheduler(DispatchQueue target,
                                        std::string internalSerialQueueName = kDefaultQueueName,
                                        RxTimeInterval leeway = RxTimeInterval::zero());
  explicit SerialDispatchQueueScheduler(DispatchQoS qos,
                                        std::string internalSerialQueueName = kDefaultQueueName,
                                        RxTimeInterval leeway = RxTimeInterval::zero());

  RxTime now() const override;
  Disposable schedule(std::function<Disposable()> action) override;
  Disposable scheduleRelative(RxTimeInterval dueTime, std::function<Disposable()> action) override;

  // The queue actions run on.
  const DispatchQueue& queue() const noexcept { return queue_; }
  RxTimeInterval leeway() const noexcept { return leeway_; }

 protected:
  struct UseQueueDirectly {};
  // Runs actions on `queue` itself (the main scheduler uses the main queue).
  SerialDispatchQueueScheduler(UseQueueDirectly, DispatchQueue queue);

 private:
  DispatchQueue queue_;
  RxTimeInterval leeway_ = RxTimeInterval::zero();
};

}  // namespace zorlan::rx
