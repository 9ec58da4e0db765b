// Clock: the library's replaceable source of the present time, time zone and
// calendar, so that code asking "how long ago" or "is this today" can run on
// a fixed clock in tests. SystemClock is the real one.
//
//   std::shared_ptr<const Clock> clock = SystemClock::shared();
//   double ms = clock->millisecondsSince(requestStarted);   // 1.0005 s ago: 1001
//   bool fresh = clock->isToday(lastRefresh);
#pragma once

#include <memory>
#include <optional>

#include "zorlan/Platform/Date.hpp"
#include "zorlan/Time/Calendar.hpp"

namespace zorlan {

// A time source. Implementations must be safe to read from any thread.
class Clock {
 public:
  virtual ~Clock() = default;

  // The time zone to use.
  virtual TimeZone timezone() const = 0;
  // The calendar to use.
  virtual Calendar calendar() const = 0;
  // The present moment.
  virtual Date now() const = 0;

  // Seconds from `date` to `now()`: positive when `date` lies in the past.
  double timeIntervalSince(Date date) const { return now().timeIntervalSince(date); }
  // 0 when `date` is absent; otherwise `now()` - `date` in milliseconds,
  // rounded to a whole number with halves away from zero (1.0005 s: 1001).
  double millisecondsSince(std::optional<Date> date) const;
  // True when `calendar()` puts `date` and `now()` on the same calendar day.
  bool isToday(Date date) const { return calendar().isDate(date, now()); }
};

// The system's clock: `now()` is the system date; the zone and the calendar
// are the auto-updating current ones, following the system's zone when it
// changes. Holds no state; thread-safe.
class SystemClock final : public Clock {
 public:
  SystemClock() = default;

  // The process-wide clock, made once on first use (thread-safe). Never null.
  static std::shared_ptr<const Clock> shared();

  TimeZone timezone() const override { return TimeZone::autoupdatingCurrent(); }
  Calendar calendar() const override { return Calendar::autoupdatingCurrent(); }
  Date now() const override { return Date::now(); }
};

}  // namespace zorlan
