#include "zorlan/Numerics/NumberConversions.hpp"

#include <chrono>
#include <cmath>

#include "zorlan/Logging/Log.hpp"

namespace zorlan {
namespace detail {

// Reports that `i(double)` was given NaN: one error line on the shared
// category, with this file, its line 37 and the function "i" as its source.
void reportNaNConversionToInteger() noexcept {
  struct NaNConversion {};
  try {
    Log::shared().error(NaNConversion{}, "Attempting to convert NaN into 0",
                        SourceLocation("Extensions/Numbers+Conversions", 37, "i"));
  } catch (...) {
    // Out of memory while reporting: the conversion still gives 0.
  }
}

}  // namespace detail

namespace {

// Whether truncating `value` toward zero gives a signed 64-bit integer.
template <class T>
bool truncatesIntoInt64(T value) noexcept {
  return value >= T(-0x1p63) && value < T(0x1p63);
}

template <class T>
std::int64_t truncateChecked(T value) {
  ZORLAN_PRECONDITION(!std::isnan(value), "Cannot convert NaN to an integer");
  ZORLAN_PRECONDITION(
      truncatesIntoInt64(value),
      "Floating-point value cannot be converted to Int64: infinite or out of range");
  return static_cast<std::int64_t>(value);
}

}  // namespace

// The one forgiving conversion: NaN becomes 0 (reported), not a stop.
std::int64_t i(double value) {
  if (std::isnan(value)) {
    detail::reportNaNConversionToInteger();  // "Attempting to convert NaN into 0"
    return 0;
  }
  return truncateChecked(value);
}

std::int64_t i(float value) { return truncateChecked(value); }

std::int64_t checkedI(CGFloat value) { return truncateChecked(value); }

rx::RxTimeInterval rxi(double seconds) {
  const double milliseconds = std::ceil(seconds * 1000.0);
  // Whole milliseconds that still fit in the interval's nanoseconds.
  constexpr double kLimit = 9223372036854.0;
  ZORLAN_PRECONDITION(std::isfinite(milliseconds),
                      "Cannot convert a non-finite number of seconds to an interval");
  ZORLAN_PRECONDITION(milliseconds >= -kLimit && milliseconds <= kLimit,
                      "Seconds out of range for a millisecond interval");
  return std::chrono::milliseconds(static_cast<std::int64_t>(milliseconds));
}

}  // namespace zorlan
