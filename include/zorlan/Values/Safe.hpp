// Safe: lossy decoding. A `Safe<T>` decodes a T when it can and is absent
// when it cannot, so one malformed element of server data costs that element
// and not the whole document. The lossy decodes of keyed members build on it:
//
//   KeyedDecodingContainer c = decoder.container();
//   std::vector<Show> shows = decodeSafely<std::vector<Show>>(c, "shows");
//   std::optional<std::vector<Show>> extras = decodeSafelyIfPresent<std::vector<Show>>(c,
//   "extras"); std::optional<Artwork> poster = decodeSafelyIfPresent<Artwork>(c, "poster");
//
// Every value that fails to decode is reported as one error line on
// `Log::shared()` (source "Wrappers/Safe", function "init(from:)"):
// - a DecodingError, at line 28:
//     "🤮🤮🤮 server data is unexpected or corrupt, failed to decode element.\nError: "
//     + the error's description + ", key: " + its coding path joined by "."
//   (an array element at index 1 under "items" gives "items.1");
// - any other exception, at line 36:
//     "🤮🤮🤮 server data is unexpected or corrupt, failed to decode element. Error: "
//     + its what() text (for a value that is not a std::exception, its type name).
// Every DecodingError carries a context (its four kinds form a closed set), so
// a decoding error always reports a path.
//
// The lossy decodes are free functions taking the container: the keyed
// container belongs to the coding layer, which knows nothing of `Safe`.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Coding/Decoder.hpp"
#include "zorlan/Coding/StandardCodings.hpp"

namespace zorlan {

// A T that may be absent because it could not be decoded. Only decodes; it is
// never encoded. A plain value.
template <class T>
class Safe {
 public:
  // Absent.
  Safe() = default;
  // Holds `value` (which may be absent).
  explicit Safe(std::optional<T> value) : value_(std::move(value)) {}

  // Decodes a T from the decoder's value. Never throws a decoding failure:
  // any exception that decoding T throws makes the result absent and is
  // reported as described at the top of this header.
  static Safe decode(const Decoder& decoder);

  // The decoded value; absent when decoding failed.
  const std::optional<T>& value() const& noexcept { return value_; }
  std::optional<T>&& value() && noexcept { return std::move(value_); }

 private:
  std::optional<T> value_;
};

namespace detail {

// Report one value that could not be decoded (see the top of this header).
// Never throw.
void reportUndecodableElement(const DecodingError& error) noexcept;
void reportUndecodableElement(const std::exception_ptr& error) noexcept;

template <class T>
struct IsStdVector : std::false_type {};
template <class T, class A>
struct IsStdVector<std::vector<T, A>> : std::true_type {};

// The present values of `safes`, in order.
template <class Array, class Element>
Array presentValues(std::vector<Safe<Element>>&& safes) {
  Array values;
  values.reserve(safes.size());
  for (Safe<Element>& safe : safes) {
    if (std::optional<Element> value = std::move(safe).value()) values.push_back(std::move(*value));
  }
  return values;
}

}  // namespace detail

template <class T>
Safe<T> Safe<T>::decode(const Decoder& decoder) {
  try {
    return Safe(decoder.singleValueContainer().template decode<T>());
  } catch (const DecodingError& error) {
    detail::reportUndecodableElement(error);
  } catch (...) {
    detail::reportUndecodableElement(std::current_exception());
  }
  return Safe();
}

// "Safe<Int>".
template <class T>
struct CodingTypeName<Safe<T>> {
  static std::string name() { return "Safe<" + codingTypeName<T>() + ">"; }
};

// Decoding only: a `Safe` is never written.
template <class T>
struct Coding<Safe<T>> {
  static Safe<T> decode(const Decoder& decoder) { return Safe<T>::decode(decoder); }
};

// The member at `key` as an array, keeping the elements that decode, in their
// order; each one that does not is left out and reported. Throws the
// DecodingError of a missing key (keyNotFound), a null member (valueNotFound)
// or a member that is not an array (typeMismatch): only the elements are
// lossy. `Array` is a std::vector of the element type:
//   decodeSafely<std::vector<int>>(c, "items")   // [1, "x", 3] gives {1, 3}
template <class Array>
Array decodeSafely(const KeyedDecodingContainer& container, std::string_view key) {
  static_assert(detail::IsStdVector<Array>::value,
                "decodeSafely decodes arrays: name a std::vector of the element type");
  using Element = typename Array::value_type;
  return detail::presentValues<Array>(container.template decode<std::vector<Safe<Element>>>(key));
}

// As `decodeSafely` when `T` is a std::vector, except that a missing or null
// member gives absent; a present member that is not an array still throws.
//
// For any other `T`: the member decoded as a T, or absent when the member is
// missing, null, or fails to decode (that failure is reported; a missing or
// null member is not). Never throws a decoding failure.
template <class T>
std::optional<T> decodeSafelyIfPresent(const KeyedDecodingContainer& container,
                                       std::string_view key) {
  if constexpr (detail::IsStdVector<T>::value) {
    using Element = typename T::value_type;
    auto safes = container.template decodeIfPresent<std::vector<Safe<Element>>>(key);
    if (!safes) return std::nullopt;
    return detail::presentValues<T>(std::move(*safes));
  } else {
    std::optional<Safe<T>> safe = container.template decodeIfPresent<Safe<T>>(key);
    if (!safe) return std::nullopt;
    return std::move(*safe).value();
  }
}

}  // namespace zorlan
