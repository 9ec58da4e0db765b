#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "zorlan/Numerics/RoughlyEqual.hpp"

namespace zorlan {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(RoughlyEqualTest, NumbersUseAStrictBound) {
  struct Case {
    double lhs, rhs, within;
    bool expected;
  };
  const Case cases[] = {
      {1.0, 1.05, 0.1, true},  {1.0, 1.05, 0.05, false},  // difference not below the bound
      {2.0, 2.5, 0.5, false},  {2.5, 2.0, 0.6, true},     // symmetric
      {-1.0, 1.0, 2.5, true},  {3.0, 3.0, 0.0, false},    // zero tolerance admits nothing
      {3.0, 3.0, -1.0, false}, {kNaN, kNaN, 1e300, false}, {kNaN, 1.0, 1e300, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(roughlyEqual(c.lhs, c.rhs, c.within), c.expected)
        << c.lhs << " vs " << c.rhs << " within " << c.within;
  }
  EXPECT_TRUE(roughlyEqual(1.0f, 1.25f, 0.3));
  EXPECT_FALSE(roughlyEqual(1.0f, 1.25f, 0.25));
}

TEST(RoughlyEqualTest, ArraysComparePairwiseUpToTheShorterLength) {
  using V = std::vector<double>;
  EXPECT_TRUE(roughlyEqual(V{1, 2, 3}, V{1, 2}, 0.01));
  EXPECT_TRUE(roughlyEqual(V{}, V{7, 8}, 0.01));
  EXPECT_FALSE(roughlyEqual(V{1, 2}, V{1, 5}, 1));
  EXPECT_FALSE(roughlyEqual(V{9, 2}, V{1, 2, 3}, 1));  // the first pair counts too

  using Nested = std::vector<std::vector<double>>;
  EXPECT_TRUE(roughlyEqual(Nested{{1, 2}, {3}}, Nested{{1.01, 2}, {3, 4}}, 0.1));
  EXPECT_FALSE(roughlyEqual(Nested{{1, 2}, {3}}, Nested{{1, 2}, {3.5}}, 0.1));
}

TEST(RoughlyEqualTest, DictionariesNeedTheSameKeysAndCloseValues) {
  using M = std::map<std::string, double>;
  EXPECT_TRUE(roughlyEqual(M{{"a", 1.0}, {"b", 2.0}}, M{{"a", 1.01}, {"b", 1.99}}, 0.05));
  EXPECT_FALSE(roughlyEqual(M{{"a", 1.0}}, M{{"a", 1.0}, {"b", 2.0}}, 0.05));  // counts differ
  EXPECT_FALSE(roughlyEqual(M{{"a", 1.0}, {"b", 2.0}}, M{{"a", 1.0}, {"c", 2.0}}, 0.05));
  EXPECT_FALSE(roughlyEqual(M{{"a", 1.0}}, M{{"a", 1.5}}, 0.05));

  using U = std::unordered_map<int, std::vector<double>>;
  EXPECT_TRUE(roughlyEqual(U{{1, {1.0}}, {2, {2.0, 3.0}}}, U{{2, {2.0}}, {1, {1.02}}}, 0.05));
  EXPECT_FALSE(roughlyEqual(U{{1, {1.0}}}, U{{2, {1.0}}}, 0.05));
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
  static_assert(RoughlyEqual<Meters>);
  static_assert(RoughlyEqual<Tagged>);
  static_assert(RoughlyEqual<std::map<std::string, std::vector<Meters>>>);
  static_assert(!RoughlyEqual<std::string>);
  static_assert(!RoughlyEqual<std::vector<std::string>>);

  EXPECT_TRUE(roughlyEqual(Meters{1.0}, Meters{1.05}, 0.1));
  EXPECT_TRUE(roughlyEqual(std::vector<Meters>{{1.0}, {2.0}}, std::vector<Meters>{{1.05}}, 0.1));
  EXPECT_TRUE(roughlyEqual(Tagged{"w", 1.0}, Tagged{"w", 1.05}, 0.1));
  EXPECT_FALSE(roughlyEqual(Tagged{"w", 1.0}, Tagged{"h", 1.0}, 0.1));
}

}  // namespace
}  // namespace zorlan
