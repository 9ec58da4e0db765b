// zorlan/Numerics/AspectRatio.hpp: labels, precise ratios and the random screen shape.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "zorlan/Numerics/AspectRatio.hpp"

namespace zorlan {
namespace {

TEST(AspectRatioTest, LabelsAndPreciseRatios) {
  // clang-format off
  const std::pair<CGFloat, const char*> labels[] = {
      {AspectRatio::fourByThree, "1.33"}, {AspectRatio::eighty, "0.80"}, {AspectRatio::two, "2.00"},
      {AspectRatio::twoFourEight, "2.48"}, {5.0, "5.0"}, {1.330000000000001, "1.330000000000001"},
      {1e20, "1e+20"}};
  // clang-format on
  for (const auto& [ratio, label] : labels) EXPECT_EQ(AspectRatio::asString(ratio), label);
  // Whatever the text, it reads back as the same value.
  for (double value : {0.3, 2.0 / 3.0, 123456.789, 1e-7}) {
    EXPECT_EQ(std::stod(AspectRatio::asString(value)), value);
  }
  // Precise only for the two screen shapes.
  EXPECT_EQ(AspectRatio::preciseRatio(1.33), 1.3333333333333333);
  EXPECT_EQ(AspectRatio::preciseRatio(1.78), 16.0 / 9.0);
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
  // 0 × 3 leaves a low half of 0, below 2^64 mod 3 = 1: drawn again.
  // clang-format off
  const std::pair<std::vector<std::uint64_t>, CGFloat> cases[] = {
      {{1}, 4.0 / 3.0}, {{kThird + 1}, 0.75}, {{2 * kThird + 1}, 2.0 / 3.0}, {{kMaxU}, 2.0 / 3.0},
      {{0, 0, kThird + 1}, 0.75}};
  // clang-format on
  for (const auto& [draws, expected] : cases) {
    ScriptedRandom random{draws};
    EXPECT_EQ(AspectRatio::randomAspectRatio(random), expected) << draws.front();
    EXPECT_EQ(random.next, draws.size());
  }
  std::map<CGFloat, int> seen;
  for (int n = 0; n < 300; ++n) ++seen[AspectRatio::randomAspectRatio()];
  // Only the three shapes, each with probability 1/3: fewer than 50 of 300 is a 1-in-10^9 event.
  ASSERT_EQ(seen.size(), 3u);
  for (CGFloat ratio : {2.0 / 3.0, 0.75, 4.0 / 3.0}) EXPECT_GT(seen[ratio], 50) << ratio;
}

}  // namespace
}  // namespace zorlan
