// Rounding rules for floating-point values, and rounding by rule.
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>

namespace zorlan {

// How to round a floating-point value to an integral value.
enum class FloatingPointRoundingRule : std::uint8_t {
  toNearestOrAwayFromZero,  // 2.5 -> 3, -2.5 -> -3
  toNearestOrEven,          // 2.5 -> 2, 3.5 -> 4
  up,                       // toward +infinity
  down,                     // toward -infinity
  towardZero,               // truncation
  awayFromZero,             // 2.1 -> 3, -2.1 -> -3
};

// `value` rounded to an integral value by `rule`. NaN and infinities come back
// unchanged. Independent of the floating-point environment's rounding mode.
template <std::floating_point T>
T rounded(T value, FloatingPointRoundingRule rule) noexcept {
  switch (rule) {
    case FloatingPointRoundingRule::toNearestOrAwayFromZero:
      return std::round(value);
    case FloatingPointRoundingRule::toNearestOrEven: {
      const T nearest = std::round(value);
      // Only an exact tie differs from rounding away from zero; halving is
      // exact there, so twice the rounded half is the even neighbour.
      if (std::fabs(value - std::trunc(value)) == T(0.5)) return T(2) * std::round(value / T(2));
      return nearest;
    }
    case FloatingPointRoundingRule::up:
      return std::ceil(value);
    case FloatingPointRoundingRule::down:
      return std::floor(value);
    case FloatingPointRoundingRule::towardZero:
      return std::trunc(value);
    case FloatingPointRoundingRule::awayFromZero:
      return value < 0 ? std::floor(value) : std::ceil(value);
  }
  return value;
}

}  // namespace zorlan
