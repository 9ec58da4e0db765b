#include "zorlan/Platform/MediaTime.hpp"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

namespace zorlan {
namespace {

__extension__ using Int128 = __int128;

constexpr Int128 kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr Int128 kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kInt32Max = std::numeric_limits<std::int32_t>::max();

// +1 for positive infinity, -1 for negative infinity, 0 otherwise.
int infinityDirection(const MediaTime& time) noexcept {
  if (time.isPositiveInfinity()) return 1;
  if (time.isNegativeInfinity()) return -1;
  return 0;
}

// A numeric result, or the infinity of its sign when it does not fit.
MediaTime fromWide(Int128 value, std::int32_t timescale) noexcept {
  if (value > kInt64Max) return MediaTime::positiveInfinity();
  if (value < kInt64Min) return MediaTime::negativeInfinity();
  return MediaTime(static_cast<std::int64_t>(value), timescale);
}

// numerator / denominator rounded to nearest, ties away from zero;
// `denominator` > 0.
Int128 divideRounded(Int128 numerator, Int128 denominator, bool& inexact) noexcept {
  Int128 quotient = numerator / denominator;
  const Int128 remainder = numerator % denominator;
  inexact = remainder != 0;
  const Int128 twice = (remainder < 0 ? -remainder : remainder) * 2;
  if (twice >= denominator) quotient += numerator < 0 ? -1 : 1;
  return quotient;
}

}  // namespace

namespace detail {

// Sum (sign +1) or difference (sign -1) of two times.
struct MediaTimeArithmetic {
  static MediaTime combine(const MediaTime& lhs, const MediaTime& rhs, int sign) noexcept {
    if (!lhs.isValid() || !rhs.isValid()) return MediaTime::invalid();
    if (lhs.isIndefinite() || rhs.isIndefinite()) return MediaTime::indefinite();
    const int left = infinityDirection(lhs);
    const int right = infinityDirection(rhs) * sign;
    if (left != 0 || right != 0) {
      if (left != 0 && right != 0 && left != right) return MediaTime::invalid();
      return (left != 0 ? left : right) > 0 ? MediaTime::positiveInfinity()
                                            : MediaTime::negativeInfinity();
    }
    const std::int64_t ta = lhs.timescale_;
    const std::int64_t tb = rhs.timescale_;
    const std::int64_t common = ta / std::gcd(ta, tb) * tb;
    if (common <= kInt32Max) {
      const Int128 value = Int128(lhs.value_) * (common / ta) +
                           Int128(sign) * Int128(rhs.value_) * (common / tb);
      return fromWide(value, static_cast<std::int32_t>(common));
    }
    // The exact timescale does not fit: round to the larger one.
    const std::int64_t target = ta > tb ? ta : tb;
    const Int128 numerator = Int128(lhs.value_) * tb + Int128(sign) * Int128(rhs.value_) * ta;
    bool inexact = false;
    const Int128 value = divideRounded(numerator * target, Int128(ta) * tb, inexact);
    MediaTime result = fromWide(value, static_cast<std::int32_t>(target));
    if (inexact && result.isNumeric()) result.flags_ |= MediaTime::kHasBeenRounded;
    return result;
  }

  static MediaTime negate(const MediaTime& time) noexcept {
    if (time.isPositiveInfinity()) return MediaTime::negativeInfinity();
    if (time.isNegativeInfinity()) return MediaTime::positiveInfinity();
    if (!time.isNumeric()) return time;
    if (time.value_ == std::numeric_limits<std::int64_t>::min()) {
      return MediaTime::positiveInfinity();
    }
    MediaTime result = time;
    result.value_ = -time.value_;
    return result;
  }
};

}  // namespace detail

MediaTime MediaTime::fromSeconds(double seconds, std::int32_t timescale) noexcept {
  if (timescale <= 0 || std::isnan(seconds)) return invalid();
  if (std::isinf(seconds)) return seconds > 0 ? positiveInfinity() : negativeInfinity();
  const double ticks = std::round(seconds * timescale);
  if (ticks >= 0x1p63) return positiveInfinity();
  if (ticks < -0x1p63) return negativeInfinity();
  return MediaTime(static_cast<std::int64_t>(ticks), timescale);
}

double MediaTime::seconds() const noexcept {
  if (isPositiveInfinity()) return std::numeric_limits<double>::infinity();
  if (isNegativeInfinity()) return -std::numeric_limits<double>::infinity();
  if (!isNumeric()) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(value_) / timescale_;
}

MediaTime operator+(const MediaTime& lhs, const MediaTime& rhs) noexcept {
  return detail::MediaTimeArithmetic::combine(lhs, rhs, 1);
}

MediaTime operator-(const MediaTime& lhs, const MediaTime& rhs) noexcept {
  return detail::MediaTimeArithmetic::combine(lhs, rhs, -1);
}

MediaTime operator-(const MediaTime& time) noexcept {
  return detail::MediaTimeArithmetic::negate(time);
}

std::weak_ordering operator<=>(const MediaTime& lhs, const MediaTime& rhs) noexcept {
  const auto rank = [](const MediaTime& t) {
    if (!t.isValid()) return 4;
    if (t.isPositiveInfinity()) return 3;
    if (t.isIndefinite()) return 2;
    if (t.isNegativeInfinity()) return 0;
    return 1;
  };
  const int left = rank(lhs);
  const int right = rank(rhs);
  if (left != right || left != 1) return left <=> right;
  const Int128 a = Int128(lhs.value_) * rhs.timescale_;
  const Int128 b = Int128(rhs.value_) * lhs.timescale_;
  if (a < b) return std::weak_ordering::less;
  if (a > b) return std::weak_ordering::greater;
  return std::weak_ordering::equivalent;
}

MediaTime abs(const MediaTime& time) noexcept {
  if (time.isNegativeInfinity() || (time.isNumeric() && time.value() < 0)) return -time;
  return time;
}

}  // namespace zorlan
