#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "zorlan/Numerics/AspectRatio.hpp"
#include "zorlan/Numerics/NumberConversions.hpp"
#include "zorlan/Numerics/NumberTolerance.hpp"

namespace zorlan {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(AspectRatioTest, ConstantsHaveTwoDecimalLabels) {
  struct Case {
    CGFloat ratio;
    const char* label;
  };
  const Case cases[] = {
      {AspectRatio::fourByThree, "1.33"},
      {AspectRatio::sixteenByNine, "1.78"},
      {AspectRatio::seventyOne, "0.71"},
      {AspectRatio::eighty, "0.80"},
      {AspectRatio::oneTwo, "1.20"},
      {AspectRatio::two, "2.00"},
      {AspectRatio::threeThirtyTwo, "3.32"},
      {AspectRatio::twoFourEight, "2.48"},
      {1.5, "1.5"},
      {1.3333333333333333, "1.3333333333333333"},
      {5.0, "5.0"},
      {1.330000000000001, "1.330000000000001"},
      {1e20, "1e+20"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(AspectRatio::asString(c.ratio), c.label) << c.ratio;
  }
  // Whatever the text, it reads back as the same value.
  for (double value : {0.3, 2.0 / 3.0, 123456.789, 1e-7}) {
    EXPECT_EQ(std::stod(AspectRatio::asString(value)), value);
  }
}

TEST(AspectRatioTest, PreciseRatioOnlyForTheTwoScreenShapes) {
  EXPECT_EQ(AspectRatio::preciseRatio(AspectRatio::fourByThree), 4.0 / 3.0);
  EXPECT_EQ(AspectRatio::preciseRatio(1.33), 1.3333333333333333);
  EXPECT_EQ(AspectRatio::preciseRatio(1.78), 16.0 / 9.0);
  EXPECT_EQ(AspectRatio::preciseRatio(1.3300000000000001), 4.0 / 3.0);  // the same double as 1.33
  EXPECT_EQ(AspectRatio::preciseRatio(1.331), 1.331);
}

// Gives the queued numbers in order.
struct ScriptedRandom {
  using result_type = std::uint64_t;
  static constexpr result_type min() { return 0; }
  static constexpr result_type max() { return ~result_type{0}; }
  std::vector<result_type> queue;
  std::size_t next = 0;
  result_type operator()() { return queue.at(next++); }
};

TEST(AspectRatioTest, RandomRatioMapsTheRangeInThirdsAndRejectsTheBiasedLowEnd) {
  constexpr std::uint64_t kMaxU = ~std::uint64_t{0};
  constexpr std::uint64_t kThird = kMaxU / 3;  // 0x5555...
  struct Case {
    std::vector<std::uint64_t> draws;
    CGFloat expected;
    std::size_t consumed;
  };
  const Case cases[] = {
      {{1}, 4.0 / 3.0, 1},
      {{kThird + 1}, 0.75, 1},
      {{2 * kThird + 1}, 2.0 / 3.0, 1},
      {{kMaxU}, 2.0 / 3.0, 1},
      // 0 × 3 leaves a low half of 0, below 2^64 mod 3 = 1: drawn again.
      {{0, kMaxU}, 2.0 / 3.0, 2},
      {{0, 0, kThird + 1}, 0.75, 3},
  };
  for (const auto& c : cases) {
    ScriptedRandom random{c.draws};
    EXPECT_EQ(AspectRatio::randomAspectRatio(random), c.expected) << c.draws.front();
    EXPECT_EQ(random.next, c.consumed);
  }

  std::map<CGFloat, int> seen;
  for (int n = 0; n < 300; ++n) ++seen[AspectRatio::randomAspectRatio()];
  // Only the three shapes, each with probability 1/3: fewer than 50 of 300 is a 1-in-10^9 event.
  ASSERT_EQ(seen.size(), 3u);
  for (CGFloat ratio : {2.0 / 3.0, 0.75, 4.0 / 3.0}) EXPECT_GT(seen[ratio], 50) << ratio;
}

TEST(ConversionsTest, ConvertAndTruncateTowardZero) {
  EXPECT_EQ(cgf(3), 3.0);
  EXPECT_EQ(f(16777217), 16777216.0f);  // rounded to the nearest float
  EXPECT_EQ(f(0.1), 0.1f);
  EXPECT_EQ(d(0.1f), static_cast<double>(0.1f));

  struct Case {
    double value;
    std::int64_t expected;
  };
  const Case cases[] = {
      {2.9, 2},
      {-2.9, -2},
      {-0.5, 0},
      {0.0, 0},
      {1e18, 1000000000000000000},
      {-0x1p63, std::numeric_limits<std::int64_t>::min()},
      {0x1p63 - 1024, 9223372036854774784},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(i(c.value), c.expected) << c.value;
    EXPECT_EQ(checkedI(c.value), c.expected) << c.value;
  }
  EXPECT_EQ(i(-2.9f), -2);
  EXPECT_EQ(i(kNaN), 0);  // the one conversion that forgives NaN
}

TEST(ConversionsDeathTest, ConversionsStopOnValuesWithoutAResult) {
  EXPECT_DEATH(i(kInf), "Int64");
  EXPECT_DEATH(i(0x1p63), "Int64");
  EXPECT_DEATH(i(-0x1p64), "Int64");
  EXPECT_DEATH(checkedI(kNaN), "NaN");
  EXPECT_DEATH(i(std::numeric_limits<float>::quiet_NaN()), "NaN");
  EXPECT_DEATH(i(1e19f), "Int64");
  EXPECT_DEATH(milliseconds(std::numeric_limits<std::int64_t>::max() / 999), "overflow");
  EXPECT_DEATH(milliseconds(std::numeric_limits<std::int64_t>::min()), "overflow");
  EXPECT_DEATH(rxi(kNaN), "non-finite");
  EXPECT_DEATH(rxi(1e306), "non-finite");  // the product overflows to infinity
  EXPECT_DEATH(rxi(1e13), "out of range");
}

TEST(ConversionsTest, SecondsToMilliseconds) {
  EXPECT_EQ(milliseconds(3), 3000);
  EXPECT_EQ(milliseconds(std::int64_t{9223372036854775}), 9223372036854775000);
  EXPECT_EQ(milliseconds(1.5), 1500.0);
  EXPECT_EQ(milliseconds(kInf), kInf);

  // Rounded up to whole milliseconds, so a short positive interval never becomes zero.
  const std::pair<double, std::int64_t> cases[] = {
      {0.0015, 2}, {0.0001, 1}, {0.0, 0}, {-0.0015, -1}, {1e9, 1000000000000}};
  for (const auto& [seconds, ms] : cases) {
    EXPECT_EQ(rxi(seconds), std::chrono::milliseconds(ms)) << seconds;
  }
}

TEST(ToleranceTest, NumbersAreCloseInclusivelyWhateverTheSignOfThePrecision) {
  struct Case {
    double value, other, precision;
    bool expected;
  };
  const Case cases[] = {
      {1.5, 1.0, -0.5, true},  {1.5, 1.0, 0.5, true},  {1.0, 1.5, 0.5, true},
      {1.0, 1.5, 0.49, false}, {2.0, 2.0, 0.0, true},  {kNaN, 1.0, 10, false},
      {kInf, kInf, 1, false},  {-3.0, 3.0, 6.0, true}, {-3.0, 3.0, -5.9, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(isCloseTo(c.value, c.other, c.precision), c.expected)
        << c.value << " " << c.other << " " << c.precision;
  }
}

TEST(ToleranceTest, MediaTimesAreCloseStrictly) {
  const MediaTime oneSecond(1, 1);
  const MediaTime oneAndAHalf(3, 2);
  const MediaTime half(500, 1000);
  EXPECT_FALSE(isCloseTo(oneSecond, oneAndAHalf, half));  // the bound itself is not close
  EXPECT_TRUE(isCloseTo(oneAndAHalf, oneSecond, MediaTime(501, 1000)));  // absolute difference
  EXPECT_TRUE(isCloseTo(oneSecond, oneAndAHalf, MediaTime(501, 1000)));
  EXPECT_TRUE(isCloseTo(MediaTime(600, 600), MediaTime(1, 1), MediaTime(1, 1000)));
  EXPECT_FALSE(isCloseTo(MediaTime::invalid(), oneSecond, MediaTime::positiveInfinity()));
  EXPECT_FALSE(isCloseTo(MediaTime::positiveInfinity(), MediaTime::positiveInfinity(),
                         MediaTime::positiveInfinity()));
  // An infinite difference is valid and only below an invalid tolerance.
  EXPECT_FALSE(isCloseTo(MediaTime::positiveInfinity(), oneSecond, MediaTime(1000000, 1)));
}

}  // namespace
}  // namespace zorlan
