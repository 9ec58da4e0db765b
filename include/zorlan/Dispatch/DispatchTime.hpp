// Dispatch time: quality of service, intervals and deadlines for dispatch queues.
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <ratio>
#include <type_traits>

namespace zorlan {

// Quality-of-service classes, lowest to highest. `standard` is the platform's
// "default" class (a keyword in C++).
enum class DispatchQoS : std::uint8_t {
  unspecified,
  background,
  utility,
  standard,
  userInitiated,
  userInteractive,
};

namespace detail {
// n * unit, saturating at the int64 limits.
constexpr std::int64_t saturatingScale(std::int64_t n, std::int64_t unit) noexcept {
  std::int64_t product = 0;
  if (__builtin_mul_overflow(n, unit, &product)) {
    return n > 0 ? std::numeric_limits<std::int64_t>::max()
                 : std::numeric_limits<std::int64_t>::min();
  }
  return product;
}
}  // namespace detail

// A span of time for deadlines and timer intervals; `never()` stands for an
// infinite interval (a timer that does not repeat, a deadline that never
// comes). Spans too long for 64-bit nanoseconds saturate: a positive one
// becomes `never()`.
class DispatchTimeInterval {
 public:
  static constexpr DispatchTimeInterval seconds(std::int64_t n) noexcept {
    return DispatchTimeInterval(detail::saturatingScale(n, 1'000'000'000));
  }
  static constexpr DispatchTimeInterval milliseconds(std::int64_t n) noexcept {
    return DispatchTimeInterval(detail::saturatingScale(n, 1'000'000));
  }
  static constexpr DispatchTimeInterval microseconds(std::int64_t n) noexcept {
    return DispatchTimeInterval(detail::saturatingScale(n, 1'000));
  }
  static constexpr DispatchTimeInterval nanoseconds(std::int64_t n) noexcept {
    return DispatchTimeInterval(n);
  }
  static constexpr DispatchTimeInterval never() noexcept {
    return DispatchTimeInterval(std::numeric_limits<std::int64_t>::max());
  }
  // From any std::chrono duration, rounded toward zero to nanoseconds. Spans
  // beyond the range saturate (a positive one, and NaN, become `never()`);
  // the conversion itself never overflows, whatever the representation and
  // period.
  template <class Rep, class Period>
  static constexpr DispatchTimeInterval from(std::chrono::duration<Rep, Period> d) noexcept {
    using ToNanos = std::ratio_divide<Period, std::nano>;
    constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
    if constexpr (std::chrono::treat_as_floating_point_v<Rep>) {
      // Exact for every int64 on x86-64; 2^63 itself is exact in any binary format.
      const long double nanos = static_cast<long double>(d.count()) * ToNanos::num / ToNanos::den;
      if (!(nanos < 0x1p63L)) return never();  // also NaN
      if (nanos <= -0x1p63L) return DispatchTimeInterval(kMin);
      return DispatchTimeInterval(static_cast<std::int64_t>(nanos));
    } else {
      static_assert(std::is_integral_v<Rep>, "an integral or floating-point representation");
      __extension__ using Wide = __int128;  // |count| < 2^64 and num < 2^63: no overflow
      const Wide nanos = static_cast<Wide>(d.count()) * ToNanos::num / ToNanos::den;
      if (nanos >= static_cast<Wide>(never().count())) return never();
      if (nanos <= static_cast<Wide>(kMin)) return DispatchTimeInterval(kMin);
      return DispatchTimeInterval(static_cast<std::int64_t>(nanos));
    }
  }

  constexpr bool isNever() const noexcept {
    return nanos_ == std::numeric_limits<std::int64_t>::max();
  }
  // Nanoseconds (the int64 maximum for `never()`).
  constexpr std::int64_t count() const noexcept { return nanos_; }
  constexpr std::chrono::nanoseconds duration() const noexcept {
    return std::chrono::nanoseconds(nanos_);
  }

  friend constexpr bool operator==(DispatchTimeInterval, DispatchTimeInterval) = default;
  friend constexpr auto operator<=>(DispatchTimeInterval, DispatchTimeInterval) = default;

 private:
  constexpr explicit DispatchTimeInterval(std::int64_t nanos) noexcept : nanos_(nanos) {}
  std::int64_t nanos_;
};

// A point on the dispatch clock: nanoseconds of a monotonic clock (or of the
// manual test clock, see `DispatchClock`), from 0 to `distantFuture()`.
class DispatchTime {
 public:
  // The present time on the dispatch clock. Thread-safe.
  static DispatchTime now() noexcept;
  // A deadline that never comes: work scheduled for it never runs.
  static constexpr DispatchTime distantFuture() noexcept {
    return DispatchTime(std::numeric_limits<std::int64_t>::max());
  }

  // Negative values are taken as 0.
  constexpr explicit DispatchTime(std::int64_t uptimeNanoseconds) noexcept
      : nanos_(uptimeNanoseconds < 0 ? 0 : uptimeNanoseconds) {}
  constexpr std::int64_t uptimeNanoseconds() const noexcept { return nanos_; }

  // Adds an interval, saturating at 0 and at `distantFuture()`; `never()` and
  // `distantFuture()` stay `distantFuture()`.
  friend constexpr DispatchTime operator+(DispatchTime t, DispatchTimeInterval i) noexcept {
    if (i.isNever() || t == distantFuture()) return distantFuture();
    std::int64_t sum = 0;
    if (__builtin_add_overflow(t.nanos_, i.count(), &sum)) {
      return i.count() > 0 ? distantFuture() : DispatchTime(0);
    }
    return DispatchTime(sum);
  }
  // Subtracts an interval, saturating at 0; `distantFuture()` stays.
  friend constexpr DispatchTime operator-(DispatchTime t, DispatchTimeInterval i) noexcept {
    if (t == distantFuture()) return t;
    if (i.isNever()) return DispatchTime(0);
    if (i.count() == std::numeric_limits<std::int64_t>::min()) return distantFuture();
    return t + DispatchTimeInterval::nanoseconds(-i.count());
  }
  // Adds seconds (fractional, rounded toward zero to nanoseconds). Infinite,
  // NaN or out-of-range spans saturate: +inf and NaN give `distantFuture()`.
  friend constexpr DispatchTime operator+(DispatchTime t, double seconds) noexcept {
    const double nanos = seconds * 1e9;
    if (!(nanos < 9.2e18)) return distantFuture();  // also NaN
    if (nanos <= -9.2e18) return DispatchTime(0);
    return t + DispatchTimeInterval::nanoseconds(static_cast<std::int64_t>(nanos));
  }
  friend constexpr DispatchTime operator-(DispatchTime t, double seconds) noexcept {
    return t + (-seconds);
  }
  friend constexpr auto operator<=>(DispatchTime, DispatchTime) = default;

 private:
  std::int64_t nanos_;
};

// The clock behind `DispatchTime::now()`: the test seam for delayed work.
// Tests switch it to a manual clock, which only moves when advanced; the main
// queue's delayed work and timers then run as soon as the host runs the main
// queue (`MainRunLoop::runUntilIdle()`) after the clock has reached their
// deadline, so timing behaviour is tested without waiting:
//
//   DispatchClock::useManualClock();
//   DispatchQueue::main().asyncAfter(DispatchTime::now() + 2.0, work);
//   DispatchClock::advance(DispatchTimeInterval::seconds(2));
//   MainRunLoop::runUntilIdle();  // runs `work`
//   DispatchClock::useSystemClock();
//
// Work delayed on other queues still waits in real time for the distance
// between its deadline and the clock's present when it was submitted. The
// clock is process-wide; all operations are thread-safe.
class DispatchClock {
 public:
  // Switches to the manual clock, starting at `start`. Like every change of
  // the clock, wakes a host waiting in `MainRunLoop::run()` to look at its
  // delayed work again.
  static void useManualClock(DispatchTime start = DispatchTime(0)) noexcept;
  // Switches back to the monotonic clock (waking a waiting host).
  static void useSystemClock() noexcept;
  static bool isManual() noexcept;
  // Moves the manual clock forward by `interval` (saturating at
  // `distantFuture()`; zero or negative: no change) and wakes a host waiting
  // in `MainRunLoop::run()`. Harmless on the system clock.
  static void advance(DispatchTimeInterval interval) noexcept;
};

}  // namespace zorlan
