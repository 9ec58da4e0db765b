// Closeness tests for numbers and media times.
#pragma once

#include <cmath>

#include "zorlan/Platform/MediaTime.hpp"

namespace zorlan {

// True when |value - other| <= |precision|: the bound is inclusive and the sign
// of the precision is ignored. False whenever a NaN is involved.
constexpr bool isCloseTo(double value, double other, double precision) noexcept {
  const double difference = value > other ? value - other : other - value;
  const double bound = precision < 0 ? -precision : precision;
  return difference <= bound;
}

// True when the absolute difference of the two times is a valid time strictly
// below `within` (in the media-time order). So 1 s and 1.5 s are not close
// within 0.5 s, and a difference that is invalid (an invalid operand, or
// opposite infinities) is never close.
bool isCloseTo(const MediaTime& time, const MediaTime& other, const MediaTime& within) noexcept;

}  // namespace zorlan
