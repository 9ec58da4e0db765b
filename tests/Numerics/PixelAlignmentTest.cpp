// zorlan/Numerics/PixelAlignment.hpp, Resolution.hpp: snapping to the pixel grid, rect centres,
// parsing "WxH".
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <tuple>

#include "zorlan/Numerics/PixelAlignment.hpp"
#include "zorlan/Numerics/Resolution.hpp"

namespace zorlan {
namespace {

using Rule = FloatingPointRoundingRule;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(PixelAlignedTest, SixRoundingRulesAtScaleOne) {
  // clang-format off
  constexpr Rule kRules[] = {Rule::toNearestOrAwayFromZero, Rule::toNearestOrEven, Rule::up,
                             Rule::down, Rule::towardZero, Rule::awayFromZero};
  const struct {
    double value;
    double expected[6];  // in the order of kRules
  } rows[] = {
      {-2.5, {-3, -2, -2, -3, -2, -3}}, {-3.5, {-4, -4, -3, -4, -3, -4}},
      {2.6, {3, 3, 3, 2, 2, 3}}, {0.5, {1, 0, 1, 0, 0, 1}},
      {-0.5, {-1, -0.0, -0.0, -1, -0.0, -1}}, {7.0, {7, 7, 7, 7, 7, 7}}};
  // clang-format on
  for (const auto& row : rows) {
    for (int r = 0; r < 6; ++r) {
      SCOPED_TRACE(::testing::Message() << row.value << " rule " << r);
      EXPECT_EQ(pixelAligned(row.value, 1.0, kRules[r]), row.expected[r]);
      EXPECT_EQ(pixelAligned(static_cast<float>(row.value), 1.0, kRules[r]),
                static_cast<float>(row.expected[r]));
    }
  }
}

TEST(PixelAlignedTest, SnapsValuesSizesAndRectsToTheScalesGrid) {
  // clang-format off
  const std::tuple<double, double, Rule, double> cases[] = {  // value, scale, rule, expected
      {10.25, 2, Rule::toNearestOrAwayFromZero, 10.5},
      {10.25, 2, Rule::toNearestOrEven, 10.0},  // 20.5 -> 20
      {10.75, 2, Rule::toNearestOrEven, 11.0},  // 21.5 -> 22
      {1.4, 3, Rule::toNearestOrAwayFromZero, 4.0 / 3.0},
      {10.26, 0, Rule::toNearestOrAwayFromZero, 0},  // 0/0
      {10.26, kInf, Rule::toNearestOrAwayFromZero, 0}, {kNaN, 2, Rule::toNearestOrAwayFromZero, 0},
      {0.3, -2, Rule::toNearestOrAwayFromZero, 0.5}};  // -0.6 -> -1 -> 0.5
  // clang-format on
  for (const auto& [value, scale, rule, expected] : cases) {
    EXPECT_EQ(pixelAligned(value, scale, rule), expected)
        << value << " at " << scale << " rule " << static_cast<int>(rule);
  }
  EXPECT_EQ(pixelAligned(10.26, 2.0), 10.5);  // to nearest, ties away, by default
  // Each component by the same rule.
  EXPECT_EQ(pixelAligned(Size{10.26, 3.1}, 2, Rule::up), (Size{10.5, 3.5}));
  EXPECT_EQ(pixelAligned(Rect(0.2, 0.3, 10.26, 3.1), 2, Rule::down), Rect(0.0, 0.0, 10.0, 3.0));
  EXPECT_EQ(pixelAligned(Rect(-0.2, 0.7, -1.3, 2.25), 2, Rule::toNearestOrEven),
            Rect(0.0, 0.5, -1.5, 2.0));
  EXPECT_EQ(pixelAligned(Rect(1.1, kNaN, 2.6, 1.0), 1, Rule::towardZero), Rect(1, 0, 2, 1));
}

TEST(RectTest, CenterAndEdgesHandleNegativeSizes) {
  EXPECT_EQ(Rect(0, 0, 10, 20).center(), (Point{5, 10}));
  EXPECT_EQ(Rect(10, 20, -10, -20).center(), (Point{5, 10}));
  EXPECT_EQ(std::pair(Rect(10, 20, -10, -20).minX(), Rect(10, 20, -10, -20).maxY()),
            std::pair(0.0, 20.0));
}

TEST(ResolutionTest, ParsesWidthAndHeightAroundLowerCaseX) {
  // clang-format off
  const std::pair<const char*, std::optional<Size>> cases[] = {
      {"1920x1080", Size{1920, 1080}}, {"1x2x3", Size{1, 3}}, {"-5x10", Size{-5, 10}},
      {"1xjunkx2", Size{1, 2}}, {"9223372036854775807x1", Size{0x1p63, 1}},
      {"1920X1080", std::nullopt}, {" 1920x1080", std::nullopt}, {"x1080", std::nullopt},
      {"1920x", std::nullopt}, {"1.5x2", std::nullopt}, {"99999999999999999999x1", std::nullopt}};
  // clang-format on
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(sizeFromResolution(text), expected) << '"' << text << '"';
  }
}

}  // namespace
}  // namespace zorlan
