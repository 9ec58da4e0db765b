// Named aspect ratios for artwork layout, their fixed text labels, and a random
// ratio for placeholders.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

#include "zorlan/Platform/Geometry.hpp"

namespace zorlan {

// Aspect-ratio constants (width / height). They are stored rounded to two
// decimals, so that each has an exact two-decimal label: 4:3 is 1.33 and 16:9 is
// 1.78. `preciseRatio` gives back the exact value of those two.
struct AspectRatio {
  static constexpr CGFloat fourByThree = 1.33;
  static constexpr CGFloat sixteenByNine = 1.78;
  static constexpr CGFloat seventyOne = 0.71;
  static constexpr CGFloat eighty = 0.8;
  static constexpr CGFloat eightyFive = 0.85;
  static constexpr CGFloat oneTwo = 1.2;
  static constexpr CGFloat one = 1.0;
  static constexpr CGFloat two = 2.0;
  static constexpr CGFloat three = 3.0;
  static constexpr CGFloat threeThirtyTwo = 3.32;
  static constexpr CGFloat threeSeventySix = 3.76;
  static constexpr CGFloat threeNinetyOne = 3.91;
  static constexpr CGFloat fourSixOne = 4.61;
  static constexpr CGFloat twoFourEight = 2.48;

  // The two-decimal label ("1.33", "0.80", "2.00", ...) when `ratio` is exactly
  // one of the constants above; otherwise the shortest decimal text that reads
  // back as the same double, with ".0" after a whole number ("1.5", "5.0",
  // "1.3333333333333333", "1e+20", "nan"). Thread-safe.
  static std::string asString(CGFloat ratio);

  // Exactly 1.33 gives 4/3 and exactly 1.78 gives 16/9; any other value comes
  // back unchanged.
  static constexpr CGFloat preciseRatio(CGFloat ratio) noexcept {
    if (ratio == fourByThree) return 4.0 / 3.0;
    if (ratio == sixteenByNine) return 16.0 / 9.0;
    return ratio;
  }

  // One of 4/3, 0.75 and 2/3, each with probability 1/3, from the system's
  // random source. Thread-safe.
  static CGFloat randomAspectRatio();

  // As above, drawing 64-bit random numbers from `generator` (a uniform random
  // bit generator whose results cover the whole 64-bit range). The index is
  // chosen without bias by multiply-and-shift with rejection.
  template <class Generator>
  static CGFloat randomAspectRatio(Generator& generator) {
    using Result = std::invoke_result_t<Generator&>;
    static_assert(std::is_same_v<Result, std::uint64_t>, "the generator must give 64-bit numbers");
    static_assert(Generator::min() == 0 && Generator::max() == ~std::uint64_t{0},
                  "the generator must cover the whole 64-bit range");
    constexpr CGFloat choices[] = {4.0 / 3.0, 0.75, 2.0 / 3.0};
    return choices[unbiasedIndex(3, [&] { return static_cast<std::uint64_t>(generator()); })];
  }

  // An index below `bound` (> 0) from 64-bit random numbers `next()`, without
  // bias: the high half of the 128-bit product random × bound, rejecting the
  // products whose low half falls below 2^64 mod bound.
  template <class Next>
  static std::uint64_t unbiasedIndex(std::uint64_t bound, Next&& next) {
    __extension__ using Wide = unsigned __int128;
    Wide product = static_cast<Wide>(next()) * bound;
    auto low = static_cast<std::uint64_t>(product);
    if (low < bound) {
      const std::uint64_t threshold = (0 - bound) % bound;
      while (low < threshold) {
        product = static_cast<Wide>(next()) * bound;
        low = static_cast<std::uint64_t>(product);
      }
    }
    return static_cast<std::uint64_t>(product >> 64);
  }
};

}  // namespace zorlan
