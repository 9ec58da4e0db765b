// The one forgiving integer conversion reports what it forgave.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/LogCapture.hpp"
#include "zorlan/Numerics/NumberConversions.hpp"

namespace zorlan {
namespace {

TEST(NaNConversionReportTest, NaNBecomesZeroWithOneErrorLine) {
  testing::LogCapture log(LogLevelConfig{LogLevel::error, LogLevel::error});
  EXPECT_EQ(i(2.9), 2);
  EXPECT_EQ(i(-0.0), 0);
  EXPECT_TRUE(log.events().empty());  // only NaN is reported

  EXPECT_EQ(i(std::numeric_limits<double>::quiet_NaN()), 0);
  EXPECT_EQ(i(-std::nan("1")), 0);
  const auto events = log.events();
  ASSERT_EQ(events.size(), 2u);
  for (const auto& event : events) {
    EXPECT_EQ(event.level, LoggerLevel::error);
    EXPECT_EQ(event.message, "\u274C Attempting to convert NaN into 0");
    EXPECT_EQ(event.file, "Extensions/Numbers+Conversions");
    EXPECT_EQ(event.line, 37);
    EXPECT_EQ(event.function, "i");
  }
}

}  // namespace
}  // namespace zorlan
