// Countable: types that can tell whether they hold no elements, so generic
// code can test emptiness without knowing the container.
#pragma once

#include <concepts>
#include <vector>

namespace zorlan {

// How a type tells its emptiness. A type conforms either with a const member
// `isEmpty()` convertible to bool (as `Stack` has), or by specialising this
// template with `static bool isEmpty(const T&)`. std::vector conforms through
// its own `empty()`.
template <class T>
struct CountableTraits {};

template <class T>
requires requires(const T& value) {
  { value.isEmpty() } -> std::convertible_to<bool>;
}
struct CountableTraits<T> {
  static bool isEmpty(const T& value) { return value.isEmpty(); }
};

template <class T, class Allocator>
struct CountableTraits<std::vector<T, Allocator>> {
  static bool isEmpty(const std::vector<T, Allocator>& value) noexcept { return value.empty(); }
};

// Satisfied by types that tell their emptiness through CountableTraits.
template <class T>
concept Countable = requires(const T& value) {
  { CountableTraits<T>::isEmpty(value) } -> std::convertible_to<bool>;
};

// True when `value` holds no elements.
template <Countable T>
bool isEmpty(const T& value) {
  return CountableTraits<T>::isEmpty(value);
}

}  // namespace zorlan
