// zorlan/Numerics/NumberConversions.hpp: conversions, the NaN report and the stops on values
// without a result.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>

#include "support/LogCapture.hpp"
#include "zorlan/Numerics/NumberConversions.hpp"

namespace zorlan {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

TEST(ConversionsTest, TruncateTowardZeroAndReportOnlyNaN) {
  testing::LogCapture log(LogLevelConfig{LogLevel::error, LogLevel::error});
  EXPECT_EQ(cgf(3), 3.0);
  EXPECT_EQ(f(16777217), 16777216.0f);  // rounded to the nearest float
  EXPECT_EQ(d(f(0.1)), static_cast<double>(0.1f));
  // clang-format off
  const std::pair<double, std::int64_t> cases[] = {{2.9, 2}, {-2.9, -2}, {-0.5, 0}, {-0.0, 0},
      {-0x1p63, kMin}, {0x1p63 - 1024, 9223372036854774784}};
  // clang-format on
  for (const auto& [value, expected] : cases) {
    EXPECT_EQ(i(value), expected) << value;
    EXPECT_EQ(checkedI(value), expected) << value;
  }
  EXPECT_EQ(i(-2.9f), -2);
  EXPECT_TRUE(log.events().empty());

  // The one conversion that forgives NaN says so.
  EXPECT_EQ(i(-std::nan("1")), 0);
  const auto events = log.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(std::tie(events[0].level, events[0].message, events[0].file, events[0].line,
                     events[0].function),
            std::tuple(LoggerLevel::error, "\u274C Attempting to convert NaN into 0",
                       "Extensions/Numbers+Conversions", 37, "i"));
}

TEST(ConversionsTest, SecondsToMilliseconds) {
  EXPECT_EQ(milliseconds(3), 3000);
  EXPECT_EQ(milliseconds(std::int64_t{9223372036854775}), 9223372036854775000);
  EXPECT_EQ(milliseconds(1.5), 1500.0);
  EXPECT_EQ(milliseconds(kInf), kInf);
  // Rounded up to whole milliseconds, so a short positive interval never becomes zero.
  const std::pair<double, std::int64_t> cases[] = {
      {0.0015, 2}, {0.0001, 1}, {0.0, 0}, {-0.0015, -1}};
  for (const auto& [seconds, ms] : cases) {
    EXPECT_EQ(rxi(seconds), std::chrono::milliseconds(ms)) << seconds;
  }
}

TEST(ConversionsDeathTest, ConversionsStopOnValuesWithoutAResult) {
  EXPECT_DEATH(i(0x1p63), "Int64");
  EXPECT_DEATH(i(-0x1p64), "Int64");
  EXPECT_DEATH(checkedI(kNaN), "NaN");
  EXPECT_DEATH(i(std::numeric_limits<float>::quiet_NaN()), "NaN");
  EXPECT_DEATH(i(1e19f), "Int64");
  EXPECT_DEATH(milliseconds(std::numeric_limits<std::int64_t>::max() / 999), "overflow");
  EXPECT_DEATH(milliseconds(kMin), "overflow");
  EXPECT_DEATH(rxi(kNaN), "non-finite");
  EXPECT_DEATH(rxi(1e306), "non-finite");  // the product overflows to infinity
  EXPECT_DEATH(rxi(1e13), "out of range");
}

}  // namespace
}  // namespace zorlan
