// Floating-point geometry: the graphics scalar (`Scalar`, also spelled
// `CGFloat` for code ported from the platform) and the Point, Size and Rect
// values built from it.
#pragma once

namespace zorlan {

// The graphics scalar: lengths, scales and ratios in points.
using Scalar = double;
// The platform's name for the same type, kept for ported code.
using CGFloat = Scalar;

// A location in a two-dimensional coordinate system.
struct Point {
  CGFloat x = 0;
  CGFloat y = 0;

  friend constexpr bool operator==(const Point&, const Point&) noexcept = default;
};

// A width and a height. Negative values are allowed (a rectangle may extend
// left or up from its origin).
struct Size {
  CGFloat width = 0;
  CGFloat height = 0;

  friend constexpr bool operator==(const Size&, const Size&) noexcept = default;
};

// A rectangle: an origin and a size. The size may be negative; the edge
// accessors (`minX`, `maxX`, ...) then still give the smaller and the larger
// coordinate. Equality compares origin and size fieldwise.
struct Rect {
  Point origin;
  Size size;

  constexpr Rect() noexcept = default;
  constexpr Rect(Point originValue, Size sizeValue) noexcept
      : origin(originValue), size(sizeValue) {}
  constexpr Rect(CGFloat x, CGFloat y, CGFloat width, CGFloat height) noexcept
      : origin{x, y}, size{width, height} {}

  constexpr CGFloat minX() const noexcept {
    return size.width < 0 ? origin.x + size.width : origin.x;
  }
  constexpr CGFloat maxX() const noexcept {
    return size.width < 0 ? origin.x : origin.x + size.width;
  }
  constexpr CGFloat minY() const noexcept {
    return size.height < 0 ? origin.y + size.height : origin.y;
  }
  constexpr CGFloat maxY() const noexcept {
    return size.height < 0 ? origin.y : origin.y + size.height;
  }

  // The middle of the rectangle: ((minX + maxX) / 2, (minY + maxY) / 2), also
  // for negative widths and heights.
  constexpr Point center() const noexcept {
    return Point{(minX() + maxX()) * 0.5, (minY() + maxY()) * 0.5};
  }

  friend constexpr bool operator==(const Rect&, const Rect&) noexcept = default;
};

}  // namespace zorlan
