#include "zorlan/Wrappers/SemVer.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <sstream>
#include <string>

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
      {"1.2.3", {1, 2, 3}},
      {"2", {2, 0, 0}},
      {"1.2", {1, 2, 0}},
      {"1.2.3.4", {1, 2, 3}},
      {"1.x.3", {1, 0, 3}},
      {"v1.2.3", {0, 2, 3}},
      {"1.2.3-beta", {1, 2, 0}},
      {" 1.2", {0, 2, 0}},
      {"1.2 ", {1, 0, 0}},
      {"1..2", {1, 2, 0}},
      {".5", {5, 0, 0}},
      {"...", {0, 0, 0}},
      {"1.2.", {1, 2, 0}},
      {"-1.0.0", {-1, 0, 0}},
      {"+3", {3, 0, 0}},
      {"1.-2.0", {1, -2, 0}},
      {"+-1.2.3", {0, 2, 3}},
      {"-.2.3", {0, 2, 3}},
      {"+.2.3", {0, 2, 3}},
      {"++1.2", {0, 2, 0}},
      {"007.08.9", {7, 8, 9}},
      {"99999999999999999999.1.2", {0, 1, 2}},
      {"9223372036854775807.-9223372036854775808.0", {kMax, kMin, 0}},
      {"9223372036854775808.1.1", {0, 1, 1}},
      {"1.2.x.4", {1, 2, 0}},  // an invalid third piece still takes the third place
      {"1,2.3", {0, 3, 0}},
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
      {{1, 9, 9}, {1, 10, 0}}, {{0, 0, 0}, {0, 0, 1}}, {{0, 9, 9}, {1, 0, 0}},
      {{-1, 0, 0}, {0, 0, 0}}, {{1, 2, -5}, {1, 2, 3}}, {{kMin, kMax, kMax}, {kMax, kMin, kMin}},
      {{2, 0, 9}, {2, 1, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.lower.description() + " < " + c.higher.description());
    EXPECT_TRUE(c.lower < c.higher);
    EXPECT_TRUE(c.lower <= c.higher);
    EXPECT_FALSE(c.lower > c.higher);
    EXPECT_FALSE(c.lower >= c.higher);
    EXPECT_TRUE(c.higher > c.lower);
    EXPECT_TRUE(c.higher >= c.lower);
    EXPECT_FALSE(c.higher < c.lower);
    EXPECT_FALSE(c.higher <= c.lower);
    EXPECT_NE(c.lower, c.higher);
  }
  const SemVer a{1, 2, 3};
  EXPECT_TRUE(a <= a);
  EXPECT_TRUE(a >= a);
  EXPECT_FALSE(a < a);
  EXPECT_FALSE(a > a);
  EXPECT_EQ(SemVer("1.2"), SemVer("1.2.0"));
  EXPECT_EQ(SemVer("1.2.0"), SemVer("1.2.0.7"));
  EXPECT_LT(SemVer("1.9.9"), SemVer("1.10.0"));
}

TEST(SemVerTest, WritesAllThreeNumbers) {
  EXPECT_EQ(SemVer().description(), "0.0.0");
  EXPECT_EQ(SemVer(1, 0, 0).description(), "1.0.0");
  EXPECT_EQ(SemVer(1, -2, 0).description(), "1.-2.0");
  EXPECT_EQ(SemVer(kMin, kMax, 10).description(),
            "-9223372036854775808.9223372036854775807.10");
  std::ostringstream out;
  out << SemVer(4, 5, 6);
  EXPECT_EQ(out.str(), "4.5.6");
}

TEST(SemVerTest, TextFormParsesBackForNonNegativeFields) {
  std::mt19937_64 random(20240611);
  std::uniform_int_distribution<std::int64_t> field(0, kMax);
  std::uniform_int_distribution<std::int64_t> small(0, 20);
  for (int i = 0; i < 500; ++i) {
    const SemVer version = i % 2 == 0 ? SemVer(field(random), field(random), field(random))
                                      : SemVer(small(random), small(random), small(random));
    EXPECT_EQ(SemVer(version.description()), version) << version;
  }
}

}  // namespace
}  // namespace zorlan
