// zorlan/Numerics/NumberTolerance.hpp, RoughlyEqual.hpp: closeness of numbers, media times and
// containers.
#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "zorlan/Numerics/NumberTolerance.hpp"
#include "zorlan/Numerics/RoughlyEqual.hpp"

namespace zorlan {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// isCloseTo admits the bound itself and ignores the precision's sign; roughlyEqual needs the
// difference strictly below the bound.
TEST(ToleranceTest, NumbersCloseInclusivelyOrRoughlyEqualStrictly) {
  // lhs, rhs, within, close, roughly
  // clang-format off
  const std::tuple<double, double, double, bool, bool> cases[] = {
      {1.5, 1.0, -0.5, true, false}, {1.0, 1.5, 0.49, false, false}, {2.0, 2.0, 0.0, true, false},
      {-3.0, 3.0, -5.9, false, false}, {1.0, 1.05, 0.1, true, true},
      {1.0, 1.05, 0.05, false, false}, {-1.0, 1.0, 2.5, true, true},
      {kNaN, kNaN, 1e300, false, false}, {kInf, kInf, 1, false, false}};
  // clang-format on
  for (const auto& [lhs, rhs, within, close, roughly] : cases) {
    SCOPED_TRACE(::testing::Message() << lhs << " vs " << rhs << " within " << within);
    EXPECT_EQ(isCloseTo(lhs, rhs, within), close);
    EXPECT_EQ(roughlyEqual(lhs, rhs, within), roughly);
  }
  EXPECT_FALSE(roughlyEqual(1.0f, 1.25f, 0.25));
}

TEST(ToleranceTest, MediaTimesAreCloseStrictly) {
  const MediaTime oneSecond(1, 1);
  const MediaTime oneAndAHalf(3, 2);
  EXPECT_FALSE(isCloseTo(oneSecond, oneAndAHalf, MediaTime(500, 1000)));  // the bound is not close
  EXPECT_TRUE(isCloseTo(oneAndAHalf, oneSecond, MediaTime(501, 1000)));   // absolute difference
  EXPECT_TRUE(isCloseTo(MediaTime(600, 600), MediaTime(1, 1), MediaTime(1, 1000)));
  EXPECT_FALSE(isCloseTo(MediaTime::invalid(), oneSecond, MediaTime::positiveInfinity()));
  EXPECT_FALSE(isCloseTo(MediaTime::positiveInfinity(), MediaTime::positiveInfinity(),
                         MediaTime::positiveInfinity()));
  // An infinite difference is valid and only below an invalid tolerance.
  EXPECT_FALSE(isCloseTo(MediaTime::positiveInfinity(), oneSecond, MediaTime(1000000, 1)));
}

TEST(RoughlyEqualTest, ArraysPairwiseUpToTheShorterDictionariesOnTheSameKeys) {
  using V = std::vector<double>;
  using Nested = std::vector<std::vector<double>>;
  EXPECT_TRUE(roughlyEqual(V{1, 2, 3}, V{1, 2}, 0.01));
  EXPECT_FALSE(roughlyEqual(V{1, 2}, V{1, 5}, 1));
  EXPECT_FALSE(roughlyEqual(V{9, 2}, V{1, 2, 3}, 1));  // the first pair counts too
  EXPECT_TRUE(roughlyEqual(Nested{{1, 2}, {3}}, Nested{{1.01, 2}, {3, 4}}, 0.1));
  EXPECT_FALSE(roughlyEqual(Nested{{1, 2}, {3}}, Nested{{1, 2}, {3.5}}, 0.1));

  using M = std::map<std::string, double>;
  using U = std::unordered_map<int, std::vector<double>>;
  EXPECT_TRUE(roughlyEqual(M{{"a", 1.0}, {"b", 2.0}}, M{{"a", 1.01}, {"b", 1.99}}, 0.05));
  EXPECT_FALSE(roughlyEqual(M{{"a", 1.0}}, M{{"a", 1.0}, {"b", 2.0}}, 0.05));  // counts differ
  EXPECT_FALSE(roughlyEqual(M{{"a", 1.0}, {"b", 2.0}}, M{{"a", 1.0}, {"c", 2.0}}, 0.05));
  EXPECT_FALSE(roughlyEqual(M{{"a", 1.0}}, M{{"a", 1.5}}, 0.05));
  EXPECT_TRUE(roughlyEqual(U{{1, {1.0}}, {2, {2.0, 3.0}}}, U{{2, {2.0}}, {1, {1.02}}}, 0.05));
}

struct Meters {
  double value;
  bool roughlyEqual(const Meters& other, double within) const {
    return zorlan::roughlyEqual(value, other.value, within);
  }
};

struct Tagged {
  std::string tag;
  double value;
};

}  // namespace

template <>
struct RoughlyEqualTraits<Tagged> {
  static bool roughlyEqual(const Tagged& lhs, const Tagged& rhs, double within) {
    return lhs.tag == rhs.tag && zorlan::roughlyEqual(lhs.value, rhs.value, within);
  }
};

namespace {

TEST(RoughlyEqualTest, OtherTypesOptInByMemberOrTraits) {
  EXPECT_TRUE(roughlyEqual(Meters{1.0}, Meters{1.05}, 0.1));
  EXPECT_FALSE(roughlyEqual(std::vector<Meters>{{1.0}, {2.0}}, std::vector<Meters>{{1.2}}, 0.1));
  EXPECT_TRUE(roughlyEqual(Tagged{"w", 1.0}, Tagged{"w", 1.05}, 0.1));
  EXPECT_FALSE(roughlyEqual(Tagged{"w", 1.0}, Tagged{"h", 1.0}, 0.1));
}

}  // namespace
}  // namespace zorlan
