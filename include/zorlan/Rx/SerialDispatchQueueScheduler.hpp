// SerialDispatchQueueScheduler: a scheduler that runs actions one at a time
// on its own serial dispatch queue.
#pragma once

#include <functional>
#include <string>

#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Rx/SchedulerType.hpp"

namespace zorlan::rx {

// Actions run one at a time, in scheduling order, on an internal serial queue
// named `internalSerialQueueName` that targets the given queue (or the global
// queue of `qos`): no thread of its own, and, when the given queue is serial,
// serialised with that queue's other work. Delayed and periodic actions follow
// the dispatch clock (`DispatchClock`), so on the main queue tests drive them
// with the manual clock; `now()` is wall-clock time. The leeway is kept for
// callers; timers are never deferred to be grouped. Thread-safe.
class SerialDispatchQueueScheduler : public SchedulerType {
 public:
  static constexpr const char* kDefaultQueueName = "rx.global_dispatch_queue.serial";

  // A scheduler whose internal serial queue targets `target`.
  explicit SerialDispatchQueueScheduler(DispatchQueue target,
                                        std::string internalSerialQueueName = kDefaultQueueName,
                                        RxTimeInterval leeway = RxTimeInterval::zero());
  // A scheduler whose internal serial queue targets the global queue of `qos`
  // (`unspecified`: the default class).
  explicit SerialDispatchQueueScheduler(DispatchQoS qos,
                                        std::string internalSerialQueueName = kDefaultQueueName,
                                        RxTimeInterval leeway = RxTimeInterval::zero());

  // Wall-clock time.
  RxTime now() const override;
  // Submits `action` to the queue; disposing the result before it starts
  // keeps it from running, afterwards disposes what it returned.
  Disposable schedule(std::function<Disposable()> action) override;
  // Submits `action` to run after `dueTime` (zero or negative: as soon as
  // possible); disposing the result cancels it.
  Disposable scheduleRelative(RxTimeInterval dueTime, std::function<Disposable()> action) override;
  // Runs `action` on the queue after `startAfter`, then every `period` (at
  // least 1 ns) measured from the first deadline, until disposed (dropping
  // the result without disposing it leaves the work running). A firing that
  // runs late makes up for no missed one; firings never overlap.
  Disposable schedulePeriodic(RxTimeInterval startAfter, RxTimeInterval period,
                              std::function<void()> action) override;

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
