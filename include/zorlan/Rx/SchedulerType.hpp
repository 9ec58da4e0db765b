// Scheduler interfaces: where and when the reactive core runs work.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "zorlan/Rx/Disposable.hpp"

namespace zorlan::rx {

// Scheduler time: nanoseconds on the scheduler's own clock. Dispatch-backed
// schedulers report wall-clock time; virtual-time schedulers start at zero.
using RxTimeInterval = std::chrono::nanoseconds;
using RxTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

// A scheduler that runs actions as soon as it can.
class ImmediateSchedulerType {
 public:
  virtual ~ImmediateSchedulerType() = default;

  // Runs `action` on the scheduler. The returned disposable cancels the action
  // if it has not started and disposes what the action returned once it has.
  virtual Disposable schedule(std::function<Disposable()> action) = 0;
};

// A scheduler with a clock: actions can run after a delay or periodically.
// Schedulers are shared objects: hold them in a `std::shared_ptr` (the
// default `schedulePeriodic` requires it).
class SchedulerType : public ImmediateSchedulerType,
                      public std::enable_shared_from_this<SchedulerType> {
 public:
  // The scheduler's present time.
  virtual RxTime now() const = 0;

  // Runs `action` once `dueTime` has passed (zero or negative: as soon as
  // possible). Disposing the result cancels it.
  virtual Disposable scheduleRelative(RxTimeInterval dueTime,
                                      std::function<Disposable()> action) = 0;

  // Runs `action` first after `startAfter`, then every `period`, until the
  // result is disposed; dropping the result without disposing it leaves the
  // work running. The default is built on `scheduleRelative`, each run
  // scheduling the next: the pending run keeps the action alive, and the
  // scheduler only weakly, so once the scheduler is destroyed no further run
  // starts (each run holds it while it lasts). The default stops the process
  // (precondition) when the scheduler is not owned by a `std::shared_ptr`.
  virtual Disposable schedulePeriodic(RxTimeInterval startAfter, RxTimeInterval period,
                                      std::function<void()> action);
};

using ImmediateSchedulerPtr = std::shared_ptr<ImmediateSchedulerType>;
using SchedulerPtr = std::shared_ptr<SchedulerType>;

}  // namespace zorlan::rx
