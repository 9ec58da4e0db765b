// zorlan/Dispatch/DispatchTime.hpp: intervals and deadlines saturate instead of wrapping; the
// manual clock moves only forward and only when advanced.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>

#include "zorlan/Dispatch/DispatchTime.hpp"

namespace zorlan {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
using Interval = DispatchTimeInterval;
template <class Rep, class Period = std::ratio<1>>
using Duration = std::chrono::duration<Rep, Period>;

TEST(DispatchTimeTest, IntervalsConvertToNanosecondsAndSaturate) {
  // clang-format off
  const std::pair<Interval, std::int64_t> cases[] = {
      {Interval::seconds(2), 2'000'000'000}, {Interval::milliseconds(3), 3'000'000},
      {Interval::microseconds(-4), -4'000}, {Interval::nanoseconds(5), 5},
      {Interval::seconds(kMax / 10), kMax},  // would overflow: saturates
      {Interval::milliseconds(kMin / 10), kMin},
      {Interval::from(std::chrono::hours(24 * 365 * 1000)), kMax},
      // In range, though a naive conversion overflows on the way.
      {Interval::from(Duration<float>(9'223'371'776.0f)), 9'223'371'776'000'000'000},
      {Interval::from(Duration<std::int64_t, std::ratio<1, 600>>(1'900'000'000'000)),
       3'166'666'666'666'666'666},
      {Interval::from(Duration<double>(-2.5e-9)), -2},
      {Interval::from(Duration<float>(1e30f)), kMax},
      {Interval::from(Duration<double>(-1e300)), kMin},
      {Interval::from(Duration<double>(std::nan(""))), kMax},
      {Interval::from(Duration<std::uint64_t>(~0ull)), kMax}};
  // clang-format on
  for (const auto& [interval, nanos] : cases) EXPECT_EQ(interval.count(), nanos);
  EXPECT_TRUE(Interval::seconds(kMax).isNever());
  EXPECT_FALSE(Interval::seconds(1).isNever());
}

TEST(DispatchTimeTest, DeadlineArithmeticSaturatesInsteadOfWrapping) {
  const DispatchTime t(1'000);
  const DispatchTime far = DispatchTime::distantFuture();
  const double inf = std::numeric_limits<double>::infinity();
  // clang-format off
  const std::tuple<const char*, DispatchTime, DispatchTime> cases[] = {
      {"plus interval", t + Interval::nanoseconds(500), DispatchTime(1'500)},
      {"minus interval", t - Interval::nanoseconds(400), DispatchTime(600)},
      {"below zero", t - Interval::seconds(1), DispatchTime(0)},
      {"plus never", t + Interval::never(), far},
      {"overflow", DispatchTime(kMax - 10) + Interval::nanoseconds(20), far},
      {"far stays far", far - Interval::seconds(1), far},
      {"plus seconds", t + 1.5, DispatchTime(1'500'001'000)},
      {"minus seconds", DispatchTime(2'000'000'000) - 0.5, DispatchTime(1'500'000'000)},
      {"plus infinity", t + inf, far}, {"plus NaN", t + std::nan(""), far},
      {"plus huge", t + 1e300, far}, {"minus huge", t - 1e300, DispatchTime(0)},
      {"negative start", DispatchTime(-5), DispatchTime(0)}};
  // clang-format on
  for (const auto& [name, result, expected] : cases) EXPECT_EQ(result, expected) << name;
}

TEST(DispatchTimeTest, ManualClockMovesOnlyWhenAdvanced) {
  DispatchClock::useManualClock(DispatchTime(100));
  EXPECT_TRUE(DispatchClock::isManual());
  EXPECT_EQ(DispatchTime::now(), DispatchTime(100));
  DispatchClock::advance(Interval::nanoseconds(-50));  // never backwards
  EXPECT_EQ(DispatchTime::now(), DispatchTime(100));
  DispatchClock::advance(Interval::microseconds(1));
  EXPECT_EQ(DispatchTime::now(), DispatchTime(1'100));
  DispatchClock::advance(Interval::never());
  EXPECT_EQ(DispatchTime::now(), DispatchTime::distantFuture());
  DispatchClock::useSystemClock();
  EXPECT_FALSE(DispatchClock::isManual());
  const DispatchTime a = DispatchTime::now();
  EXPECT_LE(a, DispatchTime::now());
  EXPECT_LT(a, DispatchTime::distantFuture());
}

}  // namespace
}  // namespace zorlan
