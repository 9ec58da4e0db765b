// Pixel alignment of lengths, sizes and rectangles: snapping point values to
// the screen's pixel grid.
#pragma once

#include <cmath>
#include <concepts>

#include "zorlan/Platform/FloatingPointRoundingRule.hpp"
#include "zorlan/Platform/Geometry.hpp"

namespace zorlan {

// `value` snapped to a grid of `scale` pixels per point: value × scale, rounded
// by `rule`, divided by scale. A result that is not finite (a scale of 0, a NaN
// or infinite value) gives 0. So 10.26 at scale 2 is 10.5. Never fails.
template <std::floating_point T>
T pixelAligned(
    T value, CGFloat scale,
    FloatingPointRoundingRule rule = FloatingPointRoundingRule::toNearestOrAwayFromZero) {
  const T factor = static_cast<T>(scale);
  const T result = rounded(value * factor, rule) / factor;
  return std::isfinite(result) ? result : T(0);
}

// The width and height aligned independently, by the same rule.
inline Size pixelAligned(
    Size size, CGFloat scale,
    FloatingPointRoundingRule rule = FloatingPointRoundingRule::toNearestOrAwayFromZero) {
  return Size{pixelAligned(size.width, scale, rule), pixelAligned(size.height, scale, rule)};
}

// The x, y, width and height aligned independently, by the same rule.
inline Rect pixelAligned(
    Rect rect, CGFloat scale,
    FloatingPointRoundingRule rule = FloatingPointRoundingRule::toNearestOrAwayFromZero) {
  return Rect(
      Point{pixelAligned(rect.origin.x, scale, rule), pixelAligned(rect.origin.y, scale, rule)},
      pixelAligned(rect.size, scale, rule));
}

}  // namespace zorlan
