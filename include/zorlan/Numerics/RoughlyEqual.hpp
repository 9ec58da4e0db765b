// RoughlyEqual: comparison with a tolerance on numbers, for values that went
// through a lossy path (decoded data, computed geometry) and must be compared
// without demanding bit-exact equality.
//
// A type takes part in one of two ways:
//
//   1. A member function:
//        bool roughlyEqual(const T& other, double within) const;
//      (inside such a member, call the free function as `zorlan::roughlyEqual`
//      so that the member does not hide it).
//   2. A specialization of `zorlan::RoughlyEqualTraits<T>` with
//        static bool roughlyEqual(const T& lhs, const T& rhs, double within);
//      for types that cannot be given a member.
//
// Built in: `double` and `float`, `std::vector` of roughly-equal elements, and
// `std::map` / `std::unordered_map` with roughly-equal values.
//
// Callers use the free function `zorlan::roughlyEqual(lhs, rhs, within)` and
// the concept `zorlan::RoughlyEqual<T>`.
#pragma once

#include <cmath>
#include <concepts>
#include <map>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace zorlan {

// Customization point. The primary template has no `roughlyEqual` member, so a
// type without a member function or a specialization is not `RoughlyEqual`.
template <class T, class Enable = void>
struct RoughlyEqualTraits {};

// True when `T` has a member `bool roughlyEqual(const T&, double) const`.
template <class T>
concept HasRoughlyEqualMember = requires(const T& lhs, const T& rhs, double within) {
  { lhs.roughlyEqual(rhs, within) } -> std::convertible_to<bool>;
};

// True when two values of `T` can be compared with a tolerance.
template <class T>
concept RoughlyEqual = requires(const T& lhs, const T& rhs, double within) {
  { RoughlyEqualTraits<T>::roughlyEqual(lhs, rhs, within) } -> std::convertible_to<bool>;
};

// Whether `lhs` and `rhs` are equal within the tolerance `within`; see the
// rule of each type below. Pure; as thread-safe as reading both values.
template <RoughlyEqual T>
bool roughlyEqual(const T& lhs, const T& rhs, double within) {
  return static_cast<bool>(RoughlyEqualTraits<T>::roughlyEqual(lhs, rhs, within));
}

// Types with a member function.
template <HasRoughlyEqualMember T>
struct RoughlyEqualTraits<T> {
  static bool roughlyEqual(const T& lhs, const T& rhs, double within) {
    return static_cast<bool>(lhs.roughlyEqual(rhs, within));
  }
};

// Floating-point numbers: true when |lhs - rhs| < within (strictly; the
// difference is taken in double). A NaN on either side is never roughly equal,
// and neither is anything within a tolerance of 0 or less.
template <std::floating_point T>
struct RoughlyEqualTraits<T> {
  static bool roughlyEqual(T lhs, T rhs, double within) noexcept {
    return std::fabs(static_cast<double>(lhs) - static_cast<double>(rhs)) < within;
  }
};

// Arrays: the elements are compared pairwise up to the shorter length and every
// pair must be roughly equal. The lengths are deliberately not compared: an
// array is roughly equal to any of its prefixes (and an empty array to any
// array). Linear in the shorter length.
template <RoughlyEqual T, class Allocator>
struct RoughlyEqualTraits<std::vector<T, Allocator>> {
  static bool roughlyEqual(const std::vector<T, Allocator>& lhs,
                           const std::vector<T, Allocator>& rhs, double within) {
    const auto count = lhs.size() < rhs.size() ? lhs.size() : rhs.size();
    for (std::size_t i = 0; i < count; ++i) {
      if (!RoughlyEqualTraits<T>::roughlyEqual(lhs[i], rhs[i], within)) return false;
    }
    return true;
  }
};

namespace detail {

// Dictionaries: equal counts, and every key of `lhs` present in `rhs` with a
// roughly equal value.
template <class Map>
bool roughlyEqualMaps(const Map& lhs, const Map& rhs, double within) {
  using Value = typename Map::mapped_type;
  if (lhs.size() != rhs.size()) return false;
  for (const auto& [key, value] : lhs) {
    const auto found = rhs.find(key);
    if (found == rhs.end()) return false;
    if (!RoughlyEqualTraits<Value>::roughlyEqual(value, found->second, within)) return false;
  }
  return true;
}

}  // namespace detail

// Ordered dictionaries: same number of entries, and every key of `lhs` is in
// `rhs` with a roughly equal value. Keys are compared exactly.
template <class Key, RoughlyEqual Value, class Compare, class Allocator>
struct RoughlyEqualTraits<std::map<Key, Value, Compare, Allocator>> {
  static bool roughlyEqual(const std::map<Key, Value, Compare, Allocator>& lhs,
                           const std::map<Key, Value, Compare, Allocator>& rhs, double within) {
    return detail::roughlyEqualMaps(lhs, rhs, within);
  }
};

// Hashed dictionaries: as for ordered ones.
template <class Key, RoughlyEqual Value, class Hash, class KeyEqual, class Allocator>
struct RoughlyEqualTraits<std::unordered_map<Key, Value, Hash, KeyEqual, Allocator>> {
  using Map = std::unordered_map<Key, Value, Hash, KeyEqual, Allocator>;
  static bool roughlyEqual(const Map& lhs, const Map& rhs, double within) {
    return detail::roughlyEqualMaps(lhs, rhs, within);
  }
};

}  // namespace zorlan
