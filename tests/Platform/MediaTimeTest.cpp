// zorlan/Platform/MediaTime.hpp: rational media times, their order and arithmetic.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "zorlan/Platform/MediaTime.hpp"

namespace zorlan {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

const MediaTime kInvalid = MediaTime::invalid();
const MediaTime kIndefinite = MediaTime::indefinite();
const MediaTime kPlusInf = MediaTime::positiveInfinity();
const MediaTime kMinusInf = MediaTime::negativeInfinity();

TEST(MediaTimeTest, SpecialTimesAndConstruction) {
  EXPECT_FALSE(MediaTime(5, 0).isValid());
  EXPECT_TRUE(kIndefinite.isValid());
  EXPECT_FALSE(kIndefinite.isNumeric());
  EXPECT_TRUE(std::isnan(kIndefinite.seconds()));
  EXPECT_EQ(kMinusInf.seconds(), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(MediaTime(3, 2).seconds(), 1.5);

  EXPECT_EQ(MediaTime::fromSeconds(1.5, 600).value(), 900);
  EXPECT_EQ(MediaTime::fromSeconds(0.0025, 1000).value(), 3);  // ties away from zero
  EXPECT_EQ(MediaTime::fromSeconds(-0.0025, 1000).value(), -3);
  EXPECT_FALSE(MediaTime::fromSeconds(std::nan(""), 600).isValid());
  EXPECT_TRUE(MediaTime::fromSeconds(1e300, 600).isPositiveInfinity());
  EXPECT_TRUE(MediaTime::fromSeconds(-HUGE_VAL, 600).isNegativeInfinity());
}

TEST(MediaTimeTest, OrderIsNegativeInfinityNumbersIndefinitePositiveInfinityInvalid) {
  const MediaTime ascending[] = {
      kMinusInf,       MediaTime(-kMax, 1), MediaTime(-1, 1000), MediaTime(0, 7), MediaTime(1, 3),
      MediaTime(1, 2), MediaTime(kMax, 1),  kIndefinite,         kPlusInf,        kInvalid};
  constexpr int n = sizeof ascending / sizeof ascending[0];
  for (int a = 0; a < n; ++a) {
    for (int b = 0; b < n; ++b) {
      EXPECT_EQ(ascending[a] < ascending[b], a < b) << a << " " << b;
      EXPECT_EQ(ascending[a] == ascending[b], a == b) << a << " " << b;
    }
  }
  EXPECT_EQ(MediaTime(1, 2), MediaTime(2, 4));  // by value, not by fields
  EXPECT_EQ(MediaTime(), MediaTime(7, 0));      // every invalid time is equal
}

TEST(MediaTimeTest, ArithmeticOnNumbersIsExactAtTheCommonTimescale) {
  const MediaTime sum = MediaTime(1, 2) + MediaTime(1, 3);
  EXPECT_EQ(sum.value(), 5);
  EXPECT_EQ(sum.timescale(), 6);
  const MediaTime difference = MediaTime(1, 1) - MediaTime(3, 2);
  EXPECT_EQ(difference.value(), -1);
  EXPECT_EQ(difference.timescale(), 2);
  EXPECT_EQ(abs(difference), MediaTime(1, 2));
  EXPECT_EQ(-MediaTime(5, 4), MediaTime(-5, 4));
  EXPECT_EQ(MediaTime(kMax, 1) + MediaTime(1, 1), kPlusInf);  // overflow turns infinite
  EXPECT_EQ(MediaTime(-kMax, 1) - MediaTime(2, 1), kMinusInf);
  EXPECT_EQ(abs(MediaTime(std::numeric_limits<std::int64_t>::min(), 1)), kPlusInf);

  // Timescales whose least common multiple does not fit 32 bits: rounded.
  const MediaTime rounded = MediaTime(1, 2147483647) + MediaTime(1, 2147483646);
  EXPECT_EQ(rounded.timescale(), 2147483647);
  EXPECT_EQ(rounded.value(), 2);
  EXPECT_NE(rounded.flags() & MediaTime::kHasBeenRounded, 0u);
}

TEST(MediaTimeTest, ArithmeticWithSpecialTimes) {
  const MediaTime one(1, 1);
  // lhs, rhs, sum, difference
  // clang-format off
  const MediaTime cases[][4] = {
      {kInvalid, one, kInvalid, kInvalid}, {kInvalid, kIndefinite, kInvalid, kInvalid},
      {kIndefinite, one, kIndefinite, kIndefinite},
      {kPlusInf, kIndefinite, kIndefinite, kIndefinite},
      {one, kPlusInf, kPlusInf, kMinusInf}, {kPlusInf, kPlusInf, kPlusInf, kInvalid},
      {kPlusInf, kMinusInf, kInvalid, kPlusInf}, {kMinusInf, kMinusInf, kMinusInf, kInvalid}};
  // clang-format on
  for (const auto& [lhs, rhs, sum, difference] : cases) {
    EXPECT_EQ(lhs + rhs, sum) << lhs.seconds() << " " << rhs.seconds();
    EXPECT_EQ(lhs - rhs, difference) << lhs.seconds() << " " << rhs.seconds();
  }
  EXPECT_EQ(abs(kIndefinite), kIndefinite);
  EXPECT_FALSE(abs(kInvalid).isValid());
}

}  // namespace
}  // namespace zorlan
