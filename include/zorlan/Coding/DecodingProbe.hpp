// A look at a parsed document, before decoding it, for the failures that
// show without decoding: a required member missing or null, a string where
// a number is expected. Callers that try a decoding they expect to fail
// often (a stored value of an older layout) skip the exception that way.
#pragma once

#include <boost/json/value.hpp>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "zorlan/Coding/Codable.hpp"

namespace zorlan {

// How a T's decoding refuses a JSON value, as far as can be told without
// decoding. Specialise for types with their own rules; the primary template
// knows nothing (it never refuses).
template <class T, class Enable = void>
struct DecodingShape {
  static bool refuses(const boost::json::value&) noexcept { return false; }
};

// True only when decoding a T from `json` with the default strategies
// certainly throws DecodingError; false means it may succeed. Strings,
// Booleans, numbers, optionals and vectors of these are judged by their JSON
// kind (null is none of them), a described struct (ZORLAN_CODABLE, without a
// Coding of its own) member by member as its decoding reads them: a missing
// required member refuses, an absent or null optional one does not. Linear
// in the members examined; never throws.
template <class T>
bool certainlyFailsToDecode(const boost::json::value& json) noexcept {
  return DecodingShape<T>::refuses(json);
}

template <>
struct DecodingShape<std::string> {
  static bool refuses(const boost::json::value& json) noexcept { return !json.is_string(); }
};
template <>
struct DecodingShape<bool> {
  static bool refuses(const boost::json::value& json) noexcept { return !json.is_bool(); }
};
template <class N>
requires(std::is_arithmetic_v<N> && !std::is_same_v<N, bool>) struct DecodingShape<N> {
  static bool refuses(const boost::json::value& json) noexcept { return !json.is_number(); }
};
template <class T>
struct DecodingShape<std::optional<T>> {
  static bool refuses(const boost::json::value& json) noexcept {
    return !json.is_null() && DecodingShape<T>::refuses(json);
  }
};
template <class T, class A>
struct DecodingShape<std::vector<T, A>> {
  static bool refuses(const boost::json::value& json) noexcept {
    if (!json.is_array()) return true;
    for (const boost::json::value& element : json.get_array()) {
      if (DecodingShape<T>::refuses(element)) return true;
    }
    return false;
  }
};

template <class T>
requires(detail::DescribedStruct<T> && !detail::HasMemberCoding<T>) struct DecodingShape<T> {
  static bool refuses(const boost::json::value& json) noexcept {
    const boost::json::object* object = json.if_object();
    if (!object) return true;
    bool refused = false;
    boost::mp11::mp_for_each<boost::describe::describe_members<T, boost::describe::mod_public>>(
        [&](auto member) {
          if (refused) return;
          using Field = std::decay_t<decltype(std::declval<T&>().*member.pointer)>;
          const boost::json::value* found = object->if_contains(member.name);
          if constexpr (detail::IsOptional<Field>::value) {
            refused = found && DecodingShape<Field>::refuses(*found);
          } else {
            refused = !found || DecodingShape<Field>::refuses(*found);
          }
        });
    return refused;
  }
};

}  // namespace zorlan
