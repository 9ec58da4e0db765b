#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"

namespace zorlan {
namespace {

// Every double the encoder writes reads back as the same bits, across the
// whole range (Boost.JSON's own number reading is off by one step for about
// a quarter of these).
TEST(NumberRoundTripTest, EveryWrittenDoubleReadsBackExactly) {
  std::mt19937_64 random(20261123);
  std::vector<double> values = {-10444440017225866754152056603.0, 5e-324, 1.7976931348623157e308,
                                0.1, 2.2250738585072014e-308, -0.0};
  for (int i = 0; i < 3000; ++i) {
    std::uint64_t bits = random();
    double d;
    std::memcpy(&d, &bits, sizeof d);
    if (std::isfinite(d)) values.push_back(d);
  }
  int mismatches = 0;
  for (double d : values) {
    const std::string text = JSONEncoder().encodeToString(std::vector<double>{d});
    const double back = JSONDecoder().decode<std::vector<double>>(text).at(0);
    if (std::memcmp(&back, &d, sizeof d) != 0 && ++mismatches <= 5) {
      ADD_FAILURE() << text << " read back as " << back;
    }
  }
  EXPECT_EQ(mismatches, 0);
}

TEST(NumberRoundTripTest, ExponentsBeyondTheRangeOfDouble) {
  EXPECT_EQ(JSONDecoder().decode<double>("0e400"), 0.0);
  EXPECT_TRUE(std::signbit(JSONDecoder().decode<double>("-0e400")));
  EXPECT_EQ(JSONDecoder().decode<double>("1e-400"), 0.0);
  EXPECT_THROW(JSONDecoder().decode<double>("1e400"), DecodingError);  // infinity is no Double
}

}  // namespace
}  // namespace zorlan
