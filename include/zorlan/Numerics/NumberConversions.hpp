// Numeric conversions with defined failure behaviour: to the graphics scalar
// (toScalar), to 32-bit and 64-bit floats (toFloat, toDouble), to 64-bit
// integers (toInt64, toInt64Strict), and from seconds to milliseconds
// (milliseconds, toSchedulerInterval).
//
//   std::int64_t frames = toInt64(duration * fps);   // NaN → 0, reported
//   auto delay = toSchedulerInterval(0.25);          // 250 ms
//
// The integer conversions of floating values stop the process on values that
// have no integer (infinity, out of range), with one forgiving exception:
// `toInt64(double)` turns NaN into 0 and reports it; `toInt64Strict` forgives
// nothing. The one-letter names (cgf, f, d, i, checkedI, rxi) are the same
// functions under the names code ported from the platform uses.
#pragma once

#include <concepts>
#include <cstdint>

#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Platform/Geometry.hpp"
#include "zorlan/Rx/SchedulerType.hpp"

namespace zorlan {

// The value as a graphics scalar.
template <class T>
requires std::integral<T> || std::floating_point<T>
constexpr CGFloat cgf(T value) noexcept { return static_cast<CGFloat>(value); }

// The value as a 32-bit float (rounded to nearest).
template <class T>
requires std::integral<T> || std::floating_point<T>
constexpr float f(T value) noexcept { return static_cast<float>(value); }

// The value as a 64-bit float.
template <class T>
requires std::integral<T> || std::floating_point<T>
constexpr double d(T value) noexcept { return static_cast<double>(value); }

// A signed integer as a signed 64-bit integer.
template <std::signed_integral T>
constexpr std::int64_t i(T value) noexcept {
  return static_cast<std::int64_t>(value);
}

// `value` truncated toward zero. NaN reports "Attempting to convert NaN into 0"
// as an error and gives 0; an infinity or a value outside the signed 64-bit
// range stops the process. Thread-safe.
std::int64_t i(double value);

// `value` truncated toward zero. NaN, an infinity or a value outside the signed
// 64-bit range stops the process (unlike `i(double)`, NaN is not forgiven).
std::int64_t i(float value);

// The graphics scalar's integer conversion: `value` truncated toward zero;
// NaN, an infinity or a value outside the signed 64-bit range stops the process.
std::int64_t checkedI(CGFloat value);

// Whole seconds as milliseconds (× 1000). A product outside the signed 64-bit
// range stops the process.
template <std::integral T>
constexpr std::int64_t milliseconds(T seconds) {
  std::int64_t result = 0;
  const bool overflow = __builtin_mul_overflow(seconds, std::int64_t{1000}, &result);
  ZORLAN_PRECONDITION(!overflow, "Integer overflow converting seconds to milliseconds");
  return result;
}

// Seconds as milliseconds (× 1000.0); never fails.
constexpr double milliseconds(double seconds) noexcept { return seconds * 1000.0; }

// Seconds as a scheduler interval of whole milliseconds, rounded up: 0.0015
// becomes 2 ms, 0.0001 becomes 1 ms, -0.0015 becomes -1 ms. A non-finite
// product, or one whose milliseconds do not fit the interval type (beyond about
// ±292 years), stops the process.
rx::RxTimeInterval rxi(double seconds);

// The same conversions under their C++ names.
template <class T>
requires std::integral<T> || std::floating_point<T>
constexpr Scalar toScalar(T value) noexcept { return cgf(value); }
template <class T>
requires std::integral<T> || std::floating_point<T>
constexpr float toFloat(T value) noexcept { return f(value); }
template <class T>
requires std::integral<T> || std::floating_point<T>
constexpr double toDouble(T value) noexcept { return d(value); }
template <std::signed_integral T>
constexpr std::int64_t toInt64(T value) noexcept {
  return i(value);
}
inline std::int64_t toInt64(double value) { return i(value); }
inline std::int64_t toInt64(float value) { return i(value); }
// `value` truncated toward zero; NaN, an infinity or a value outside the
// signed 64-bit range stops the process, for float and double alike.
inline std::int64_t toInt64Strict(double value) { return checkedI(value); }
inline rx::RxTimeInterval toSchedulerInterval(double seconds) { return rxi(seconds); }

}  // namespace zorlan
