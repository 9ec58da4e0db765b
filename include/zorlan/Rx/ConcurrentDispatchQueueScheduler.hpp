// ConcurrentDispatchQueueScheduler: a scheduler over a (possibly concurrent)
// dispatch queue; actions may run in parallel.
#pragma once

#include <functional>

#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Rx/SchedulerType.hpp"

namespace zorlan::rx {

// Submits every action straight to the given queue: on a global queue actions
// run in parallel on the shared pool, on a serial queue one at a time. `now()`
// is wall-clock time; delayed and periodic actions follow the dispatch clock.
// The leeway is kept for callers; timers are never deferred to be grouped.
// Thread-safe.
class ConcurrentDispatchQueueScheduler : public SchedulerType {
 public:
  // A scheduler over `queue`.
  explicit ConcurrentDispatchQueueScheduler(DispatchQueue queue,
                                            RxTimeInterval leeway = RxTimeInterval::zero());
  // A scheduler over the global queue of `qos` (`unspecified`: the default class).
  explicit ConcurrentDispatchQueueScheduler(DispatchQoS qos,
                                            RxTimeInterval leeway = RxTimeInterval::zero());

  // Wall-clock time.
  RxTime now() const override;
  // Submits `action`; disposing the result before it starts keeps it from
  // running, afterwards disposes what it returned.
  Disposable schedule(std::function<Disposable()> action) override;
  // Submits `action` to run after `dueTime`; disposing the result cancels it.
  Disposable scheduleRelative(RxTimeInterval dueTime, std::function<Disposable()> action) override;
  // Runs `action` after `startAfter`, then every `period` (at least 1 ns)
  // measured from the first deadline, until disposed (dropping the result
  // without disposing it leaves the work running). A firing that runs late
  // makes up for no missed one; firings never overlap, even on a global queue.
  Disposable schedulePeriodic(RxTimeInterval startAfter, RxTimeInterval period,
                              std::function<void()> action) override;

  const DispatchQueue& queue() const noexcept { return queue_; }
  RxTimeInterval leeway() const noexcept { return leeway_; }

 private:
  DispatchQueue queue_;
  RxTimeInterval leeway_;
};

}  // namespace zorlan::rx
