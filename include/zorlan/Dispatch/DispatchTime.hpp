// Dispatch time: quality of service, intervals and deadlines for dispatch queues.
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>

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

// A span of time for deadlines and timer intervals; `never()` stands for an
// infinite interval (a timer that does not repeat, a deadline that never comes).
class DispatchTimeInterval {
 public:
  static constexpr DispatchTimeInterval seconds(std::int64_t n) noexcept {
    return DispatchTimeInterval(n * 1'000'000'000);
  }
  static constexpr DispatchTimeInterval milliseconds(std::int64_t n) noexcept {
    return DispatchTimeInterval(n * 1'000'000);
  }
  static constexpr DispatchTimeInterval microseconds(std::int64_t n) noexcept {
    return DispatchTimeInterval(n * 1'000);
  }
  static constexpr DispatchTimeInterval nanoseconds(std::int64_t n) noexcept {
    return DispatchTimeInterval(n);
  }
  static constexpr DispatchTimeInterval never() noexcept {
    return DispatchTimeInterval(std::numeric_limits<std::int64_t>::max());
  }
  // From any std::chrono duration (rounded down to nanoseconds).
  template <class Rep, class Period>
  static constexpr DispatchTimeInterval from(std::chrono::duration<Rep, Period> d) noexcept {
    return DispatchTimeInterval(
        std::chrono::duration_cast<std::chrono::nanoseconds>(d).count());
  }

  constexpr bool isNever() const noexcept {
    return nanos_ == std::numeric_limits<std::int64_t>::max();
  }
  constexpr std::int64_t count() const noexcept { return nanos_; }
  constexpr std::chrono::nanoseconds duration() const noexcept {
    return std::chrono::nanoseconds(nanos_);
  }

  friend constexpr bool operator==(DispatchTimeInterval, DispatchTimeInterval) = default;

 private:
  constexpr explicit DispatchTimeInterval(std::int64_t nanos) noexcept : nanos_(nanos) {}
  std::int64_t nanos_;
};

// A point on the dispatch clock: nanoseconds of a monotonic clock (or of the
// manual test clock, see `DispatchClock`).
class DispatchTime {
 public:
  // The present time on the dispatch clock.
  static DispatchTime now() noexcept;
  // A deadline that never comes.
  static constexpr DispatchTime distantFuture() noexcept {
    return DispatchTime(std::numeric_limits<std::int64_t>::max());
  }

  constexpr explicit DispatchTime(std::int64_t uptimeNanoseconds) noexcept
      : nanos_(uptimeNanoseconds) {}
  constexpr std::int64_t uptimeNanoseconds() const noexcept { return nanos_; }

  // Adds an interval, saturating at `distantFuture()`; `never()` gives it.
  friend constexpr DispatchTime operator+(DispatchTime t, DispatchTimeInterval i) noexcept {
    if (i.isNever()) return distantFuture();
    std::int64_t sum = 0;
    if (__builtin_add_overflow(t.nanos_, i.count(), &sum)) {
      return i.count() > 0 ? distantFuture() : DispatchTime(0);
    }
    return DispatchTime(sum);
  }
  // Adds seconds (fractional).
  friend DispatchTime operator+(DispatchTime t, double seconds) noexcept {
    return t + DispatchTimeInterval::nanoseconds(static_cast<std::int64_t>(seconds * 1e9));
  }
  friend constexpr auto operator<=>(DispatchTime, DispatchTime) = default;

 private:
  std::int64_t nanos_;
};

// The clock behind `DispatchTime::now()`. Tests can switch it to a manual
// clock, which only moves when advanced: the main queue's delayed work and
// timers then run as `MainRunLoop::runUntilIdle()` finds them due, without
// waiting. Work delayed on other queues still waits in real time for the
// distance between its deadline and the manual clock's present.
class DispatchClock {
 public:
  // Switches to the manual clock, starting at `start`.
  static void useManualClock(DispatchTime start = DispatchTime(0)) noexcept;
  // Switches back to the monotonic clock.
  static void useSystemClock() noexcept;
  static bool isManual() noexcept;
  // Moves the manual clock forward (does nothing on the system clock).
  static void advance(DispatchTimeInterval interval) noexcept;
};

}  // namespace zorlan
