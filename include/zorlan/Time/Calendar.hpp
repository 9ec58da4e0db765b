// TimeZone and Calendar: the zone and the calendar a clock measures days in.
// Both are small values; the calendar arithmetic behind them lives in the
// library's sources (over ICU), so nothing here pulls in a date library.
#pragma once

#include <optional>
#include <string>

#include "zorlan/Platform/Date.hpp"

namespace zorlan {

// A time zone by its identifier ("Europe/Paris", "UTC"), or the process's
// auto-updating current zone, which is looked up again at every use and so
// follows the system's zone (the TZ variable, /etc/localtime) when it changes.
class TimeZone {
 public:
  // The zone named `identifier`; absent when the identifier names no zone the
  // library knows (ICU's zone database).
  static std::optional<TimeZone> named(const std::string& identifier);
  // Coordinated universal time.
  static TimeZone utc();
  // The system's zone, read again at every use.
  static TimeZone autoupdatingCurrent();

  // The identifier of the zone in force now (for the auto-updating zone, the
  // system's present zone).
  std::string identifier() const;
  bool isAutoupdating() const noexcept { return autoupdating_; }
  // Seconds east of Greenwich at `date`, daylight saving included.
  int secondsFromGMT(Date date) const;

  friend bool operator==(const TimeZone&, const TimeZone&) = default;

 private:
  TimeZone(std::string identifier, bool autoupdating)
      : identifier_(std::move(identifier)), autoupdating_(autoupdating) {}
  std::string identifier_;
  bool autoupdating_ = false;
};

// The Gregorian calendar in a time zone. Thread-safe: a value, every
// operation a pure function of it, the auto-updating zone and the date.
class Calendar {
 public:
  explicit Calendar(TimeZone timeZone) : timeZone_(std::move(timeZone)) {}
  // The Gregorian calendar in the auto-updating current zone.
  static Calendar autoupdatingCurrent() { return Calendar(TimeZone::autoupdatingCurrent()); }

  const TimeZone& timeZone() const noexcept { return timeZone_; }
  // True when `a` and `b` fall on the same calendar day in the calendar's
  // zone (each date read with the zone's offset at that date).
  bool isDate(Date a, Date inSameDayAs) const;
  // The first moment of the calendar day holding `date`.
  Date startOfDay(Date date) const;

  friend bool operator==(const Calendar&, const Calendar&) = default;

 private:
  TimeZone timeZone_;
};

}  // namespace zorlan
