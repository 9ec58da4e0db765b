// OptionalEquivalent: types that have a value meaning "nothing", such as
// std::optional, so generic code (for example a stored setting's default) can
// start from absent.
#pragma once

#include <concepts>
#include <optional>

namespace zorlan {

// How a type names its wrapped type and its "nothing" value. A type conforms
// either by declaring a member type `WrappedValueType` and a static member
// `empty()` returning the type, or by specialising this template with the same
// two members. std::optional<U> conforms with U and std::nullopt.
template <class T>
struct OptionalEquivalentTraits {};

template <class T>
requires requires {
  typename T::WrappedValueType;
  { T::empty() } -> std::same_as<T>;
}
struct OptionalEquivalentTraits<T> {
  using WrappedValueType = typename T::WrappedValueType;
  static T empty() { return T::empty(); }
};

template <class U>
struct OptionalEquivalentTraits<std::optional<U>> {
  using WrappedValueType = U;
  static std::optional<U> empty() noexcept { return std::nullopt; }
};

// Satisfied by types with a "nothing" value through OptionalEquivalentTraits.
template <class T>
concept OptionalEquivalent = requires {
  typename OptionalEquivalentTraits<T>::WrappedValueType;
  { OptionalEquivalentTraits<T>::empty() } -> std::same_as<T>;
};

// The wrapped type of an optional-equivalent type: U for std::optional<U>.
template <OptionalEquivalent T>
using WrappedValueType = typename OptionalEquivalentTraits<T>::WrappedValueType;

// The value of T that means "nothing": std::nullopt for std::optional.
template <OptionalEquivalent T>
T emptyValue() {
  return OptionalEquivalentTraits<T>::empty();
}

}  // namespace zorlan
