// Date: a point in time as seconds since 2001-01-01T00:00:00Z.
#pragma once

#include <compare>

namespace zorlan {

class Date {
 public:
  // Seconds between 1970-01-01 and 2001-01-01.
  static constexpr double kTimeIntervalBetween1970AndReferenceDate = 978307200.0;

  constexpr Date() noexcept = default;
  // `seconds` since 2001-01-01T00:00:00Z.
  constexpr explicit Date(double secondsSinceReferenceDate) noexcept
      : seconds_(secondsSinceReferenceDate) {}
  static constexpr Date fromTimeIntervalSince1970(double seconds) noexcept {
    return Date(seconds - kTimeIntervalBetween1970AndReferenceDate);
  }
  static constexpr Date fromTimeIntervalSinceReferenceDate(double seconds) noexcept {
    return Date(seconds);
  }
  // The present moment from the system clock.
  static Date now() noexcept;

  constexpr double timeIntervalSinceReferenceDate() const noexcept { return seconds_; }
  constexpr double timeIntervalSince1970() const noexcept {
    return seconds_ + kTimeIntervalBetween1970AndReferenceDate;
  }
  constexpr double timeIntervalSince(Date other) const noexcept {
    return seconds_ - other.seconds_;
  }

  friend constexpr Date operator+(Date d, double seconds) noexcept {
    return Date(d.seconds_ + seconds);
  }
  friend constexpr Date operator-(Date d, double seconds) noexcept {
    return Date(d.seconds_ - seconds);
  }
  friend constexpr auto operator<=>(Date, Date) noexcept = default;

 private:
  double seconds_ = 0;
};

}  // namespace zorlan
