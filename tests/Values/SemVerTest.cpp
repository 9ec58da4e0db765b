// zorlan/Values/SemVer.hpp: forgiving parsing, signed lexicographic order, text round trip.
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <sstream>

#include "zorlan/Values/SemVer.hpp"

namespace zorlan {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

TEST(SemVerTest, ParsesForgivingly) {
  // clang-format off
  const std::pair<const char*, SemVer> cases[] = {
      {"", {0, 0, 0}}, {"2", {2, 0, 0}}, {"1.2.3.4", {1, 2, 3}}, {"1.x.3", {1, 0, 3}},
      {"v1.2.3", {0, 2, 3}}, {"1.2.3-beta", {1, 2, 0}}, {"1.2 ", {1, 0, 0}}, {"1..2", {1, 2, 0}},
      {"-1.0.0", {-1, 0, 0}}, {"+-1.2.3", {0, 2, 3}},
      {"9223372036854775807.-9223372036854775808.0", {kMax, kMin, 0}},
      {"9223372036854775808.1.1", {0, 1, 1}},
      {"1.2.x.4", {1, 2, 0}},       // an invalid third piece still takes the third place
      {"\xd9\xa3.1.1", {0, 1, 1}}};  // non-ASCII digits do not count
  // clang-format on
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(SemVer(text), expected) << '"' << text << '"';
}

TEST(SemVerTest, OrdersLexicographicallyOnSignedNumbers) {
  const std::pair<SemVer, SemVer> cases[] = {
      {{1, 9, 9}, {1, 10, 0}}, {{1, 2, -5}, {1, 2, 3}}, {{kMin, kMax, kMax}, {kMax, kMin, kMin}}};
  for (const auto& [lower, higher] : cases) {
    SCOPED_TRACE(lower.description() + " < " + higher.description());
    EXPECT_TRUE(lower < higher && lower <= higher && higher > lower && higher >= lower);
    EXPECT_FALSE(higher < lower || higher <= lower || lower > higher || lower >= higher);
    EXPECT_NE(lower, higher);
  }
  const SemVer a{1, 2, 3};
  EXPECT_TRUE(a <= a && a >= a);
  EXPECT_FALSE(a < a || a > a);
}

TEST(SemVerTest, WritesAllThreeNumbersAndParsesBack) {
  EXPECT_EQ(SemVer(kMin, kMax, 10).description(), "-9223372036854775808.9223372036854775807.10");
  std::ostringstream out;
  out << SemVer(1, -2, 0);
  EXPECT_EQ(out.str(), "1.-2.0");
  std::mt19937_64 random(20240611);
  std::uniform_int_distribution<std::int64_t> field(0, kMax);
  for (int i = 0; i < 200; ++i) {
    const SemVer version(field(random), field(random) % (i + 1), field(random));
    EXPECT_EQ(SemVer(version.description()), version) << version;
  }
}

}  // namespace
}  // namespace zorlan
