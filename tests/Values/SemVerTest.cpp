#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <sstream>
#include <string>

#include "zorlan/Values/SemVer.hpp"

namespace zorlan {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

TEST(SemVerTest, ParsesForgivingly) {
  struct Case {
    const char* text;
    SemVer expected;
  };
  const Case cases[] = {
      {"", {0, 0, 0}},
      {"2", {2, 0, 0}},
      {"1.2.3.4", {1, 2, 3}},
      {"1.x.3", {1, 0, 3}},
      {"v1.2.3", {0, 2, 3}},
      {"1.2.3-beta", {1, 2, 0}},
      {"1.2 ", {1, 0, 0}},
      {"1..2", {1, 2, 0}},
      {"-1.0.0", {-1, 0, 0}},
      {"+3", {3, 0, 0}},
      {"+-1.2.3", {0, 2, 3}},
      {"-.2.3", {0, 2, 3}},
      {"007.08.9", {7, 8, 9}},
      {"9223372036854775807.-9223372036854775808.0", {kMax, kMin, 0}},
      {"9223372036854775808.1.1", {0, 1, 1}},
      {"1.2.x.4", {1, 2, 0}},       // an invalid third piece still takes the third place
      {"\xd9\xa3.1.1", {0, 1, 1}},  // non-ASCII digits do not count
  };
  for (const auto& c : cases) {
    EXPECT_EQ(SemVer(c.text), c.expected) << '"' << c.text << '"';
  }
}

TEST(SemVerTest, OrdersLexicographicallyOnSignedNumbers) {
  struct Case {
    SemVer lower, higher;
  };
  const Case cases[] = {
      {{1, 9, 9}, {1, 10, 0}},
      {{0, 9, 9}, {1, 0, 0}},
      {{1, 2, -5}, {1, 2, 3}},
      {{kMin, kMax, kMax}, {kMax, kMin, kMin}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.lower.description() + " < " + c.higher.description());
    EXPECT_TRUE(c.lower < c.higher);
    EXPECT_TRUE(c.lower <= c.higher);
    EXPECT_FALSE(c.lower >= c.higher);
    EXPECT_TRUE(c.higher > c.lower);
    EXPECT_FALSE(c.higher <= c.lower);
    EXPECT_NE(c.lower, c.higher);
  }
  const SemVer a{1, 2, 3};
  EXPECT_TRUE(a <= a);
  EXPECT_FALSE(a < a);
  EXPECT_EQ(SemVer("1.2"), SemVer("1.2.0.7"));
}

TEST(SemVerTest, WritesAllThreeNumbersAndParsesBack) {
  EXPECT_EQ(SemVer(1, -2, 0).description(), "1.-2.0");
  EXPECT_EQ(SemVer(kMin, kMax, 10).description(), "-9223372036854775808.9223372036854775807.10");
  std::ostringstream out;
  out << SemVer(4, 5, 6);
  EXPECT_EQ(out.str(), "4.5.6");

  std::mt19937_64 random(20240611);
  std::uniform_int_distribution<std::int64_t> field(0, kMax);
  for (int i = 0; i < 200; ++i) {
    const SemVer version(field(random), field(random) % (i + 1), field(random));
    EXPECT_EQ(SemVer(version.description()), version) << version;
  }
}

}  // namespace
}  // namespace zorlan
