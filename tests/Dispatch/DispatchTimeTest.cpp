#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>

#include "zorlan/Dispatch/DispatchTime.hpp"

namespace zorlan {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

TEST(DispatchTimeTest, IntervalsConvertToNanosecondsAndSaturate) {
  struct Case {
    DispatchTimeInterval interval;
    std::int64_t nanos;
  };
  const Case cases[] = {
      {DispatchTimeInterval::seconds(2), 2'000'000'000},
      {DispatchTimeInterval::milliseconds(3), 3'000'000},
      {DispatchTimeInterval::microseconds(-4), -4'000},
      {DispatchTimeInterval::nanoseconds(5), 5},
      {DispatchTimeInterval::seconds(kMax / 10), kMax},  // would overflow: saturates
      {DispatchTimeInterval::milliseconds(std::numeric_limits<std::int64_t>::min() / 10),
       std::numeric_limits<std::int64_t>::min()},
      {DispatchTimeInterval::from(std::chrono::minutes(1)), 60'000'000'000},
      {DispatchTimeInterval::from(std::chrono::hours(24 * 365 * 1000)), kMax},
      // In range, though a naive conversion overflows on the way.
      {DispatchTimeInterval::from(std::chrono::duration<float>(9'223'371'776.0f)),
       9'223'371'776'000'000'000},
      {DispatchTimeInterval::from(
           std::chrono::duration<std::int64_t, std::ratio<1, 600>>(1'900'000'000'000)),
       3'166'666'666'666'666'666},
      {DispatchTimeInterval::from(std::chrono::duration<double>(-2.5e-9)), -2},
      {DispatchTimeInterval::from(std::chrono::duration<float>(1e30f)), kMax},
      {DispatchTimeInterval::from(std::chrono::duration<double>(-1e300)),
       std::numeric_limits<std::int64_t>::min()},
      {DispatchTimeInterval::from(std::chrono::duration<double>(std::nan(""))), kMax},
      {DispatchTimeInterval::from(std::chrono::duration<std::uint64_t>(~0ull)), kMax},
  };
  for (const auto& c : cases) EXPECT_EQ(c.interval.count(), c.nanos);
  EXPECT_TRUE(DispatchTimeInterval::seconds(kMax).isNever());
  EXPECT_FALSE(DispatchTimeInterval::seconds(1).isNever());
}

TEST(DispatchTimeTest, DeadlineArithmeticSaturatesInsteadOfWrapping) {
  const DispatchTime t(1'000);
  const DispatchTime far = DispatchTime::distantFuture();
  struct Case {
    const char* name;
    DispatchTime result;
    DispatchTime expected;
  };
  const Case cases[] = {
      {"plus interval", t + DispatchTimeInterval::nanoseconds(500), DispatchTime(1'500)},
      {"minus interval", t - DispatchTimeInterval::nanoseconds(400), DispatchTime(600)},
      {"below zero", t - DispatchTimeInterval::seconds(1), DispatchTime(0)},
      {"plus never", t + DispatchTimeInterval::never(), far},
      {"overflow", DispatchTime(kMax - 10) + DispatchTimeInterval::nanoseconds(20), far},
      {"far stays far", far - DispatchTimeInterval::seconds(1), far},
      {"far plus negative", far + DispatchTimeInterval::seconds(-1), far},
      {"plus seconds", t + 1.5, DispatchTime(1'500'001'000)},
      {"minus seconds", DispatchTime(2'000'000'000) - 0.5, DispatchTime(1'500'000'000)},
      {"plus infinity", t + std::numeric_limits<double>::infinity(), far},
      {"plus NaN", t + std::nan(""), far},
      {"plus huge", t + 1e300, far},
      {"minus huge", t - 1e300, DispatchTime(0)},
      {"negative start", DispatchTime(-5), DispatchTime(0)},
  };
  for (const auto& c : cases) EXPECT_EQ(c.result, c.expected) << c.name;
}

TEST(DispatchTimeTest, ManualClockMovesOnlyWhenAdvanced) {
  DispatchClock::useManualClock(DispatchTime(100));
  EXPECT_TRUE(DispatchClock::isManual());
  EXPECT_EQ(DispatchTime::now(), DispatchTime(100));
  DispatchClock::advance(DispatchTimeInterval::nanoseconds(-50));  // never backwards
  EXPECT_EQ(DispatchTime::now(), DispatchTime(100));
  DispatchClock::advance(DispatchTimeInterval::microseconds(1));
  EXPECT_EQ(DispatchTime::now(), DispatchTime(1'100));
  DispatchClock::advance(DispatchTimeInterval::never());
  EXPECT_EQ(DispatchTime::now(), DispatchTime::distantFuture());
  DispatchClock::useSystemClock();
  EXPECT_FALSE(DispatchClock::isManual());
  const DispatchTime a = DispatchTime::now();
  EXPECT_LE(a, DispatchTime::now());
  EXPECT_LT(a, DispatchTime::distantFuture());
}

}  // namespace
}  // namespace zorlan
