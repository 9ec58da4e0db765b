#include "zorlan/Numerics/NumberTolerance.hpp"

namespace zorlan {

bool isCloseTo(const MediaTime& time, const MediaTime& other, const MediaTime& within) noexcept {
  const MediaTime difference = abs(time - other);
  if (!difference.isValid()) return false;
  return difference < within;
}

}  // namespace zorlan
