// Making types codable: the built-in codings of standard types, types with
// `encode`/`decode` members, and structs described once with ZORLAN_CODABLE.
//
//   struct Artwork { std::string url; double aspectRatio; std::optional<std::string> label; };
//   ZORLAN_CODABLE(Artwork, url, aspectRatio, label);
//
// A described struct codes as an object with one member per field, named as
// the field; an optional field that is absent or null decodes as absent, and
// an absent optional field is not written.
#pragma once

#include <boost/describe/class.hpp>
#include <boost/describe/members.hpp>
#include <boost/mp11/algorithm.hpp>

#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "zorlan/Coding/Decoder.hpp"
#include "zorlan/Coding/Encoder.hpp"
#include "zorlan/Platform/Data.hpp"
#include "zorlan/Platform/Date.hpp"

namespace zorlan {

// Describes a struct's fields for coding (at namespace scope, next to the
// struct).
#define ZORLAN_CODABLE(Type, ...) BOOST_DESCRIBE_STRUCT(Type, (), (__VA_ARGS__))

// The name decoding errors use for T ("Int", "String", "Double"...).
template <class T>
std::string codingTypeName();

namespace detail {

template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};

template <class T>
concept HasMemberCoding = requires(const T& value, Encoder& encoder, const Decoder& decoder) {
  value.encode(encoder);
  { T::decode(decoder) } -> std::same_as<T>;
};

template <class T>
concept Described = boost::describe::has_describe_members<T>::value;

std::string integerTypeName(bool isSigned, std::size_t size);
std::string numberText(const boost::json::value& value);

}  // namespace detail

// ----- Booleans, numbers, text -----

template <>
struct Coding<bool> {
  static void encode(bool value, Encoder& encoder) { encoder.json() = value; }
  static bool decode(const Decoder& decoder) {
    if (!decoder.json().is_bool()) decoder.throwTypeMismatch("Bool");
    return decoder.json().get_bool();
  }
};

template <class I>
  requires(std::is_integral_v<I> && !std::is_same_v<I, bool> && !std::is_same_v<I, char>)
struct Coding<I> {
  static void encode(I value, Encoder& encoder) {
    if constexpr (std::is_signed_v<I>) {
      encoder.json() = static_cast<std::int64_t>(value);
    } else {
      encoder.json() = static_cast<std::uint64_t>(value);
    }
  }
  static I decode(const Decoder& decoder) {
    const boost::json::value& v = decoder.json();
    const std::string name = detail::integerTypeName(std::is_signed_v<I>, sizeof(I));
    if (v.is_int64()) {
      std::int64_t n = v.get_int64();
      if (std::in_range<I>(n)) return static_cast<I>(n);
    } else if (v.is_uint64()) {
      std::uint64_t n = v.get_uint64();
      if (std::in_range<I>(n)) return static_cast<I>(n);
    } else if (v.is_double()) {
      double d = v.get_double();
      // Integral doubles inside the range are accepted (1.0 is an Int);
      // fractions and out-of-range values are not.
      if (std::isfinite(d) && std::trunc(d) == d &&
          d >= static_cast<double>(std::numeric_limits<I>::min()) &&
          d < std::ldexp(1.0, std::numeric_limits<I>::digits)) {
        return static_cast<I>(d);
      }
    } else {
      decoder.throwTypeMismatch(name);
    }
    decoder.throwDataCorrupted("Parsed JSON number <" + detail::numberText(v) +
                               "> does not fit in " + name + ".");
  }
};

template <class F>
  requires std::is_floating_point_v<F>
struct Coding<F> {
  static void encode(F value, Encoder& encoder) {
    if (!std::isfinite(value)) {
      std::string text = std::isnan(value) ? "nan" : (value > 0 ? "inf" : "-inf");
      encoder.throwInvalidValue(text, "Unable to encode " + codingTypeName<F>() + "." + text +
                                          " directly in JSON.");
    }
    encoder.json() = static_cast<double>(value);
  }
  static F decode(const Decoder& decoder) {
    const boost::json::value& v = decoder.json();
    if (!v.is_number()) decoder.throwTypeMismatch(codingTypeName<F>());
    double d = v.to_number<double>();
    if constexpr (sizeof(F) < sizeof(double)) {
      if (std::abs(d) > static_cast<double>(std::numeric_limits<F>::max())) {
        decoder.throwDataCorrupted("Parsed JSON number <" + detail::numberText(v) +
                                   "> does not fit in " + codingTypeName<F>() + ".");
      }
    }
    return static_cast<F>(d);
  }
};

template <>
struct Coding<std::string> {
  static void encode(const std::string& value, Encoder& encoder) {
    encoder.json() = boost::json::string(value, encoder.json().storage());
  }
  static std::string decode(const Decoder& decoder) {
    if (!decoder.json().is_string()) decoder.throwTypeMismatch("String");
    return std::string(decoder.json().get_string());
  }
};

// A JSON value passes through unchanged.
template <>
struct Coding<boost::json::value> {
  static void encode(const boost::json::value& value, Encoder& encoder) {
    encoder.json() = boost::json::value(value, encoder.json().storage());
  }
  static boost::json::value decode(const Decoder& decoder) { return decoder.json(); }
};

// ----- optionals and collections -----

template <class T>
struct Coding<std::optional<T>> {
  static void encode(const std::optional<T>& value, Encoder& encoder) {
    if (value) {
      Coding<T>::encode(*value, encoder);
    } else {
      encoder.encodeNil();
    }
  }
  static std::optional<T> decode(const Decoder& decoder) {
    if (decoder.decodeNil()) return std::nullopt;
    return Coding<T>::decode(decoder);
  }
};

template <class T, class Alloc>
struct Coding<std::vector<T, Alloc>> {
  static void encode(const std::vector<T, Alloc>& values, Encoder& encoder) {
    UnkeyedEncodingContainer c = encoder.unkeyedContainer();
    encoder.json().get_array().reserve(values.size());
    for (const T& v : values) c.encode(v);
  }
  static std::vector<T, Alloc> decode(const Decoder& decoder) {
    UnkeyedDecodingContainer c = decoder.unkeyedContainer();
    std::vector<T, Alloc> out;
    out.reserve(c.count());
    while (!c.isAtEnd()) out.push_back(c.template decode<T>());
    return out;
  }
};

template <class T, class Compare, class Alloc>
struct Coding<std::set<T, Compare, Alloc>> {
  static void encode(const std::set<T, Compare, Alloc>& values, Encoder& encoder) {
    UnkeyedEncodingContainer c = encoder.unkeyedContainer();
    for (const T& v : values) c.encode(v);
  }
  static std::set<T, Compare, Alloc> decode(const Decoder& decoder) {
    UnkeyedDecodingContainer c = decoder.unkeyedContainer();
    std::set<T, Compare, Alloc> out;
    while (!c.isAtEnd()) out.insert(c.template decode<T>());
    return out;
  }
};

template <class Map>
struct StringKeyedMapCoding {
  static void encode(const Map& values, Encoder& encoder) {
    KeyedEncodingContainer c = encoder.container();
    for (const auto& [key, value] : values) c.encode(value, key);
  }
  static Map decode(const Decoder& decoder) {
    KeyedDecodingContainer c = decoder.container();
    Map out;
    for (const auto& member : decoder.json().get_object()) {
      out.emplace(std::string(member.key()),
                  c.template decode<typename Map::mapped_type>(member.key()));
    }
    return out;
  }
};
template <class V, class Compare, class Alloc>
struct Coding<std::map<std::string, V, Compare, Alloc>>
    : StringKeyedMapCoding<std::map<std::string, V, Compare, Alloc>> {};
template <class V, class Hash, class Eq, class Alloc>
struct Coding<std::unordered_map<std::string, V, Hash, Eq, Alloc>>
    : StringKeyedMapCoding<std::unordered_map<std::string, V, Hash, Eq, Alloc>> {};

// ----- platform values -----

template <>
struct Coding<Date> {
  static void encode(const Date& value, Encoder& encoder);
  static Date decode(const Decoder& decoder);
};

template <>
struct Coding<Data> {
  static void encode(const Data& value, Encoder& encoder);
  static Data decode(const Decoder& decoder);
};

// ----- enumerations with raw values -----

// Specialise to give an enumeration raw values, for example
//   template <> struct RawValues<Quality> {
//     static constexpr std::pair<Quality, std::string_view> values[] = {
//         {Quality::hd, "hd"}, {Quality::sd, "sd"}};
//   };
// Without a specialisation an enumeration codes as its underlying integer.
template <class E>
struct RawValues;

template <class E>
concept HasStringRawValues = requires { RawValues<E>::values; };

template <class E>
  requires std::is_enum_v<E>
struct Coding<E> {
  static void encode(E value, Encoder& encoder) {
    if constexpr (HasStringRawValues<E>) {
      for (const auto& [e, raw] : RawValues<E>::values) {
        if (e == value) {
          encoder.json() = boost::json::string(raw, encoder.json().storage());
          return;
        }
      }
      encoder.throwInvalidValue(std::to_string(static_cast<long long>(value)),
                                "The value has no raw value.");
    } else {
      Coding<std::underlying_type_t<E>>::encode(static_cast<std::underlying_type_t<E>>(value),
                                                encoder);
    }
  }
  static E decode(const Decoder& decoder) {
    if constexpr (HasStringRawValues<E>) {
      std::string raw = Coding<std::string>::decode(decoder);
      for (const auto& [e, r] : RawValues<E>::values) {
        if (r == raw) return e;
      }
      decoder.throwDataCorrupted("Cannot initialize " + codingTypeName<E>() +
                                 " from invalid String value " + raw);
    } else {
      return static_cast<E>(Coding<std::underlying_type_t<E>>::decode(decoder));
    }
  }
};

// ----- types with members -----

template <detail::HasMemberCoding T>
struct Coding<T> {
  static void encode(const T& value, Encoder& encoder) { value.encode(encoder); }
  static T decode(const Decoder& decoder) { return T::decode(decoder); }
};

// ----- described structs -----

template <class T>
  requires(detail::Described<T> && !detail::HasMemberCoding<T> && !std::is_enum_v<T>)
struct Coding<T> {
  using Members = boost::describe::describe_members<T, boost::describe::mod_public>;

  static void encode(const T& value, Encoder& encoder) {
    KeyedEncodingContainer c = encoder.container();
    boost::mp11::mp_for_each<Members>([&](auto member) {
      const auto& field = value.*member.pointer;
      using Field = std::decay_t<decltype(field)>;
      if constexpr (detail::IsOptional<Field>::value) {
        c.encodeIfPresent(field, member.name);
      } else {
        c.encode(field, member.name);
      }
    });
  }
  static T decode(const Decoder& decoder) {
    KeyedDecodingContainer c = decoder.container();
    T value{};
    boost::mp11::mp_for_each<Members>([&](auto member) {
      auto& field = value.*member.pointer;
      using Field = std::decay_t<decltype(field)>;
      if constexpr (detail::IsOptional<Field>::value) {
        field = c.template decodeIfPresent<typename Field::value_type>(member.name);
      } else {
        field = c.template decode<Field>(member.name);
      }
    });
    return value;
  }
};

// ----- type names -----

namespace detail {
std::string demangledTypeName(const char* mangled);
}

template <class T>
std::string codingTypeName() {
  if constexpr (std::is_same_v<T, bool>) {
    return "Bool";
  } else if constexpr (std::is_same_v<T, std::string>) {
    return "String";
  } else if constexpr (std::is_same_v<T, double>) {
    return "Double";
  } else if constexpr (std::is_same_v<T, float>) {
    return "Float";
  } else if constexpr (std::is_integral_v<T>) {
    return detail::integerTypeName(std::is_signed_v<T>, sizeof(T));
  } else {
    return detail::demangledTypeName(typeid(T).name());
  }
}

}  // namespace zorlan
