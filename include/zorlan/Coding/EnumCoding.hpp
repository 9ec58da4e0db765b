// Enumerations with raw values: an enumeration codes as its raw value, a
// string or an integer, and decoding refuses a raw value it does not know.
//
// Either describe the enumeration once, its raw values being the enumerators'
// names:
//   enum class Quality { sd, hd };
//   ZORLAN_CODABLE_ENUM(Quality, sd, hd);          // "sd", "hd"
// or give it raw values of its own by specialising RawValues:
//   template <> struct zorlan::RawValues<Level> {
//     static constexpr std::pair<Level, int> values[] = {{Level::low, 1}, {Level::high, 5}};
//   };
// An enumeration with neither has no coding.
#pragma once

#include <boost/describe/enum.hpp>
#include <boost/describe/enumerators.hpp>
#include <boost/mp11/algorithm.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "zorlan/Coding/StandardCodings.hpp"

namespace zorlan {

// Describes an enumeration at namespace scope (next to it); its raw values
// are its enumerators' names.
#define ZORLAN_CODABLE_ENUM(Enum, ...) BOOST_DESCRIBE_ENUM(Enum, __VA_ARGS__)

// Specialise with `static constexpr std::pair<E, R> values[]`, R being
// std::string_view or an integer type, each enumerator listed once.
template <class E>
struct RawValues;

namespace detail {

template <class E>
concept HasRawValueTable = requires {
  RawValues<E>::values;
};

template <class E>
concept HasDescribedEnumerators = boost::describe::has_describe_enumerators<E>::value;

template <class E>
struct RawValueTraits;

template <class E>
requires HasRawValueTable<E>
struct RawValueTraits<E> {
  using Raw = std::decay_t<decltype(RawValues<E>::values[0].second)>;
  static constexpr bool isString = std::is_convertible_v<Raw, std::string_view>;
  using Coded = std::conditional_t<isString, std::string, Raw>;

  static std::optional<Raw> rawValue(E value) {
    for (const auto& [e, raw] : RawValues<E>::values) {
      if (e == value) return raw;
    }
    return std::nullopt;
  }
  static std::optional<E> fromRawValue(const Coded& coded) {
    for (const auto& [e, raw] : RawValues<E>::values) {
      if (Coded(raw) == coded) return e;
    }
    return std::nullopt;
  }
};

template <class E>
requires(!HasRawValueTable<E> && HasDescribedEnumerators<E>) struct RawValueTraits<E> {
  using Raw = std::string_view;
  static constexpr bool isString = true;
  using Coded = std::string;

  static std::optional<Raw> rawValue(E value) {
    std::optional<Raw> found;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<E>>([&](auto d) {
      if (!found && d.value == value) found = d.name;
    });
    return found;
  }
  static std::optional<E> fromRawValue(const Coded& coded) {
    std::optional<E> found;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<E>>([&](auto d) {
      if (!found && coded == d.name) found = d.value;
    });
    return found;
  }
};

}  // namespace detail

template <class E>
requires(std::is_enum_v<E> &&
         (detail::HasRawValueTable<E> || detail::HasDescribedEnumerators<E>)) struct Coding<E> {
  using Traits = detail::RawValueTraits<E>;
  using Coded = typename Traits::Coded;

  // Throws EncodingError.invalidValue for a value without a raw value.
  static void encode(E value, Encoder& encoder) {
    auto raw = Traits::rawValue(value);
    if (!raw) {
      encoder.throwInvalidValue(std::to_string(static_cast<long long>(value)),
                                "The value of " + codingTypeName<E>() + " has no raw value.");
    }
    Coding<Coded>::encode(Coded(*raw), encoder);
  }
  // Throws the raw type's own errors, or dataCorrupted ("Cannot initialize
  // Quality from invalid String value 4k") for an unknown raw value.
  static E decode(const Decoder& decoder) {
    Coded coded = Coding<Coded>::decode(decoder);
    if (auto value = Traits::fromRawValue(coded)) return *value;
    std::string text;
    if constexpr (Traits::isString) {
      text = coded;
    } else {
      text = std::to_string(coded);
    }
    decoder.throwDataCorrupted("Cannot initialize " + codingTypeName<E>() + " from invalid " +
                               codingTypeName<Coded>() + " value " + text);
  }
};

}  // namespace zorlan
