#include "zorlan/Time/IntervalTimer.hpp"

#include <cmath>
#include <cstdint>

#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Rx/Observable.hpp"
#include "zorlan/Time/RelativeTimer.hpp"

namespace zorlan {
namespace {

// Whole milliseconds, rounded up; stops the process when they do not fit.
std::int64_t dueMilliseconds(double interval) {
  const double milliseconds = std::ceil(interval * 1000.0);
  // 2^63 is exactly representable; every double below it fits an int64.
  ZORLAN_PRECONDITION(std::isfinite(milliseconds) && milliseconds < 9223372036854775808.0 &&
                          milliseconds >= -9223372036854775808.0,
                      "InactivityTimer interval is not finite or too large for milliseconds");
  return static_cast<std::int64_t>(milliseconds);
}

}  // namespace

InactivityTimer::InactivityTimer(std::shared_ptr<const SchedulerFactory> schedulers)
    : schedulers_(std::move(schedulers)) {
  ZORLAN_PRECONDITION(schedulers_ != nullptr, "InactivityTimer needs a scheduler factory");
}

BehaviorReader<IntervalTimerState> InactivityTimer::state() const {
  return asBehaviorReader(state_);
}

void InactivityTimer::start(double interval) {
  state_.accept(IntervalTimerState::running);
  disposeBag_ = rx::DisposeBag();  // cancels the earlier countdown
  const std::int64_t milliseconds = dueMilliseconds(interval);
  rx::SchedulerPtr scheduler = schedulers_->mainShared();
  rx::BehaviorRelay<IntervalTimerState> relay = state_;
  rx::timer(std::chrono::milliseconds(milliseconds), scheduler)
      .subscribe([relay](std::int64_t) { relay.accept(IntervalTimerState::completed); })
      .disposed(disposeBag_);
}

void InactivityTimer::stop() {
  disposeBag_ = rx::DisposeBag();
  state_.accept(IntervalTimerState::idle);
}

std::unique_ptr<RelativeTimer> RelativeTimer::scheduledTimer(double dueTime, DispatchQueue queue,
                                                             DispatchTimeInterval leeway,
                                                             std::function<void()> action) {
  std::unique_ptr<RelativeTimer> timer(new RelativeTimer());
  timer->timerReference_ = std::make_unique<DispatchSourceTimer>(std::move(queue));
  timer->timerReference_->schedule(DispatchTime::now() + dueTime, DispatchTimeInterval::never(),
                                   leeway);
  timer->timerReference_->setEventHandler(std::move(action));
  timer->timerReference_->resume();
  return timer;
}

RelativeTimer::~RelativeTimer() { cancel(); }

void RelativeTimer::cancel() {
  if (timerReference_) timerReference_->cancel();
  timerReference_.reset();
}

bool RelativeTimer::isArmed() const { return timerReference_ != nullptr; }

}  // namespace zorlan
