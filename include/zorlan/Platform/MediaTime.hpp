// MediaTime: a rational time (value / timescale seconds) for media positions
// and durations, with the special values invalid, indefinite and the two
// infinities.
#pragma once

#include <compare>
#include <cstdint>

namespace zorlan {
namespace detail {
struct MediaTimeArithmetic;
}  // namespace detail

// A time of `value / timescale` seconds, or one of the special times. A plain
// value; thread-safe as any value.
//
// Order (`<=>`), from lowest to highest: negative infinity; numeric times by
// their exact rational value (1/2 equals 2/4); indefinite; positive infinity;
// invalid. All invalid times are equal to each other, and so are all
// indefinite times and each infinity to itself.
class MediaTime {
 public:
  // Flag bits, as in `flags()`.
  enum Flag : std::uint32_t {
    kValid = 1u << 0,
    kHasBeenRounded = 1u << 1,
    kPositiveInfinity = 1u << 2,
    kNegativeInfinity = 1u << 3,
    kIndefinite = 1u << 4,
  };

  // The invalid time.
  constexpr MediaTime() noexcept = default;
  // `value / timescale` seconds. A timescale of 0 or less gives the invalid time.
  constexpr MediaTime(std::int64_t value, std::int32_t timescale) noexcept
      : value_(timescale > 0 ? value : 0),
        timescale_(timescale > 0 ? timescale : 0),
        flags_(timescale > 0 ? std::uint32_t{kValid} : 0u) {}

  // `seconds` at the given timescale, rounded to the nearest tick (ties away
  // from zero). NaN or a timescale of 0 or less gives the invalid time; an
  // infinity, or a tick count outside the 64-bit range, the infinity of its sign.
  static MediaTime fromSeconds(double seconds, std::int32_t timescale) noexcept;

  static constexpr MediaTime invalid() noexcept { return MediaTime(); }
  static constexpr MediaTime zero() noexcept { return MediaTime(0, 1); }
  static constexpr MediaTime positiveInfinity() noexcept {
    return MediaTime(0, 0, kValid | kPositiveInfinity);
  }
  static constexpr MediaTime negativeInfinity() noexcept {
    return MediaTime(0, 0, kValid | kNegativeInfinity);
  }
  static constexpr MediaTime indefinite() noexcept {
    return MediaTime(0, 0, kValid | kIndefinite);
  }

  constexpr std::int64_t value() const noexcept { return value_; }
  constexpr std::int32_t timescale() const noexcept { return timescale_; }
  constexpr std::uint32_t flags() const noexcept { return flags_; }

  // True for numeric, indefinite and infinite times; false only for invalid.
  constexpr bool isValid() const noexcept { return (flags_ & kValid) != 0; }
  constexpr bool isPositiveInfinity() const noexcept {
    return isValid() && (flags_ & kPositiveInfinity) != 0;
  }
  constexpr bool isNegativeInfinity() const noexcept {
    return isValid() && (flags_ & kNegativeInfinity) != 0;
  }
  constexpr bool isIndefinite() const noexcept { return isValid() && (flags_ & kIndefinite) != 0; }
  // A valid time that is neither indefinite nor infinite.
  constexpr bool isNumeric() const noexcept {
    return isValid() && (flags_ & (kPositiveInfinity | kNegativeInfinity | kIndefinite)) == 0;
  }

  // The time in seconds: NaN for invalid and indefinite, ±infinity for the
  // infinities.
  double seconds() const noexcept;

  // Sum and difference. Invalid on either side gives invalid; otherwise
  // indefinite gives indefinite; infinities of opposite effect (+inf + -inf,
  // +inf - +inf) give invalid, other infinities win over numbers. Two numeric
  // times are combined exactly at the least common multiple of the timescales,
  // or, when that does not fit 32 bits, rounded to the larger timescale (flag
  // `kHasBeenRounded`). A result outside the 64-bit range becomes the infinity
  // of its sign.
  friend MediaTime operator+(const MediaTime& lhs, const MediaTime& rhs) noexcept;
  friend MediaTime operator-(const MediaTime& lhs, const MediaTime& rhs) noexcept;
  // Negation: numbers negate, the infinities swap, invalid and indefinite stay.
  friend MediaTime operator-(const MediaTime& time) noexcept;

  // See the order above.
  friend std::weak_ordering operator<=>(const MediaTime& lhs, const MediaTime& rhs) noexcept;
  friend bool operator==(const MediaTime& lhs, const MediaTime& rhs) noexcept {
    return (lhs <=> rhs) == 0;
  }

 private:
  friend struct detail::MediaTimeArithmetic;
  constexpr MediaTime(std::int64_t value, std::int32_t timescale, std::uint32_t flags) noexcept
      : value_(value), timescale_(timescale), flags_(flags) {}

  std::int64_t value_ = 0;
  std::int32_t timescale_ = 0;
  std::uint32_t flags_ = 0;
};

// The absolute value: a negative number or negative infinity turns positive;
// invalid and indefinite stay as they are.
MediaTime abs(const MediaTime& time) noexcept;

}  // namespace zorlan
