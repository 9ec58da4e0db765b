// Interval timers: a restartable one-shot countdown whose progress is an
// observable state. `InactivityTimer` runs on a scheduler from a
// `SchedulerFactory`, so tests drive it in virtual time.
//
//   auto timer = std::make_shared<InactivityTimer>(std::make_shared<Schedulers>());
//   timer->state().asObservable().subscribe([](IntervalTimerState s) { ... });
//   timer->start(30);   // running, then completed after 30 s of no restart
#pragma once

#include <memory>

#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Scheduling/BehaviorReader.hpp"
#include "zorlan/Scheduling/SchedulerFactory.hpp"

namespace zorlan {

// Where a countdown stands.
enum class IntervalTimerState { idle, running, completed };

// A restartable one-shot countdown. Use one timer from the main thread.
class IntervalTimer {
 public:
  virtual ~IntervalTimer() = default;
  // The live state; every call gives a new reader over the same value.
  virtual BehaviorReader<IntervalTimerState> state() const = 0;
  // Publishes `running` at once and (re)starts the countdown of `interval`
  // seconds, after which `completed` is published.
  virtual void start(double interval) = 0;
  // Cancels any countdown and publishes `idle`.
  virtual void stop() = 0;
};

// The countdown on the factory's `mainShared()` scheduler.
//
// | from      | event                         | to                            |
// |-----------|-------------------------------|-------------------------------|
// | idle      | start                         | running                       |
// | running   | interval elapsed on scheduler | completed                     |
// | running   | start                         | running (countdown restarted) |
// | completed | start                         | running                       |
// | any       | stop                          | idle                          |
//
// A restart never reports `completed` for the earlier countdown. `start` and
// `stop` publish on the caller's thread; `completed` on the scheduler. No
// lock: use one timer from the main thread.
class InactivityTimer final : public IntervalTimer {
 public:
  // Starts `idle`. A null factory stops the process (precondition).
  explicit InactivityTimer(std::shared_ptr<const SchedulerFactory> schedulers);

  BehaviorReader<IntervalTimerState> state() const override;
  // The interval becomes whole milliseconds, rounded up (0.0001 s: 1 ms);
  // negative intervals pass through as they come (due at once). An interval
  // that is not finite or whose milliseconds do not fit a signed 64-bit
  // integer stops the process (precondition).
  void start(double interval) override;
  void stop() override;

 private:
  rx::BehaviorRelay<IntervalTimerState> state_{IntervalTimerState::idle};
  rx::DisposeBag disposeBag_;
  std::shared_ptr<const SchedulerFactory> schedulers_;
};

}  // namespace zorlan
