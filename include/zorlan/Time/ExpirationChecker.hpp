// ExpirationChecker: has a countdown, started at some moment, run out? The
// countdown's length is a live value and may change while it runs.
//
//   ExpirationChecker checker(BehaviorReader<double>::just(30), SystemClock::shared());
//   checker.set();                    // starts now
//   if (checker.isExpired()) refresh();
#pragma once

#include <memory>
#include <optional>

#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Platform/Date.hpp"
#include "zorlan/Scheduling/BehaviorReader.hpp"
#include "zorlan/Time/Clock.hpp"

namespace zorlan {

// A countdown checked on demand: nothing runs in the background and nothing
// is latched (raising the countdown after expiry un-expires it). Not
// synchronised: use one checker from one thread, or serialise access.
class ExpirationChecker {
 public:
  // Unset (`startDate()` absent). A null `clock` stops the process
  // (precondition).
  ExpirationChecker(BehaviorReader<double> countdownTime, std::shared_ptr<const Clock> clock)
      : countdownTime_(std::move(countdownTime)), clock_(std::move(clock)) {
    ZORLAN_PRECONDITION(clock_ != nullptr, "ExpirationChecker needs a clock");
  }

  // Starts (or restarts) the countdown at `clock.now()`.
  void set() { startDate_ = clock_->now(); }
  // Starts the countdown at `date`; absent clears it (unset again).
  void set(std::optional<Date> date) { startDate_ = date; }

  // True when countdown <= elapsed, elapsed being `clock.timeIntervalSince`
  // the start date. An unset checker measures from the system's present date
  // (`Date::now()`, not the checker's clock): about zero on the system clock,
  // the distance between a fixed test clock and real time otherwise. That
  // asymmetry is deliberate. A countdown of 0 is expired at once; a start in
  // the future never expires a positive countdown.
  bool isExpired() const {
    const Date start = startDate_ ? *startDate_ : Date::now();
    return countdownTime_.value() <= clock_->timeIntervalSince(start);
  }

  const std::optional<Date>& startDate() const noexcept { return startDate_; }

 private:
  std::optional<Date> startDate_;
  BehaviorReader<double> countdownTime_;
  std::shared_ptr<const Clock> clock_;
};

}  // namespace zorlan
