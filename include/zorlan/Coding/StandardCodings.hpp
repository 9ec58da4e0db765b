// The codings of standard types: bool, integers of every width, floating
// point, std::string, std::optional, std::vector, std::set, string-keyed maps
// and boost::json::value itself.
//
// Numbers follow the library's decoder rules: an integer type accepts 1.0 but
// not 1.5 nor a value outside its range (dataCorrupted "Parsed JSON number
// <1.5> does not fit in Int."); a Boolean never decodes from a number nor a
// number from a Boolean or a string (typeMismatch). Non-finite floating values
// are refused when encoding (EncodingError.invalidValue).
#pragma once

#include <boost/json/value.hpp>
#include <charconv>
#include <cmath>
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

namespace zorlan {

namespace detail {

// The number as the decoder's errors print it ("1.5", "256", "1e+300").
std::string numberText(const boost::json::value& value);
[[noreturn]] void throwNumberDoesNotFit(const Decoder& decoder, std::string_view type);
[[noreturn]] void throwNonFinite(Encoder& encoder, double value, std::string_view type);

template <class I>
I integerFrom(const Decoder& decoder) {
  const boost::json::value& v = decoder.json();
  switch (v.kind()) {
    case boost::json::kind::int64:
      if (std::in_range<I>(v.get_int64())) return static_cast<I>(v.get_int64());
      break;
    case boost::json::kind::uint64:
      if (std::in_range<I>(v.get_uint64())) return static_cast<I>(v.get_uint64());
      break;
    case boost::json::kind::double_: {
      // Integral doubles inside the range are accepted (1.0 is an Int);
      // fractions and out-of-range values are not. The upper bound 2^digits
      // is exact as a double, so the comparison is exact.
      double d = v.get_double();
      if (std::trunc(d) == d && d >= static_cast<double>(std::numeric_limits<I>::min()) &&
          d < std::ldexp(1.0, std::numeric_limits<I>::digits)) {
        return static_cast<I>(d);
      }
      break;
    }
    default:
      decoder.throwTypeMismatch(codingTypeName<I>());
  }
  throwNumberDoesNotFit(decoder, codingTypeName<I>());
}

}  // namespace detail

template <>
struct Coding<bool> {
  static void encode(bool value, Encoder& encoder) { encoder.json() = value; }
  static bool decode(const Decoder& decoder) {
    if (!decoder.json().is_bool()) decoder.throwTypeMismatch("Bool");
    return decoder.json().get_bool();
  }
};

template <class I>
requires(std::is_integral_v<I> && !std::is_same_v<I, bool>) struct Coding<I> {
  static void encode(I value, Encoder& encoder) {
    if constexpr (std::is_signed_v<I>) {
      encoder.json() = static_cast<std::int64_t>(value);
    } else {
      encoder.json() = static_cast<std::uint64_t>(value);
    }
  }
  static I decode(const Decoder& decoder) { return detail::integerFrom<I>(decoder); }
};

template <class F>
requires std::is_floating_point_v<F>
struct Coding<F> {
  static void encode(F value, Encoder& encoder) {
    if (!std::isfinite(value)) {
      detail::throwNonFinite(encoder, static_cast<double>(value), codingTypeName<F>());
    }
    if constexpr (std::is_same_v<F, float>) {
      // The double nearest the float's shortest text, so that 0.1f writes as
      // 0.1 rather than as 0.10000000149011612.
      char buffer[32];
      auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
      double d = 0;
      std::from_chars(buffer, end, d);
      encoder.json() = d;
    } else {
      encoder.json() = static_cast<double>(value);
    }
  }
  static F decode(const Decoder& decoder) {
    const boost::json::value& v = decoder.json();
    double d = 0;
    switch (v.kind()) {
      case boost::json::kind::double_:
        d = v.get_double();
        break;
      case boost::json::kind::int64:
        d = static_cast<double>(v.get_int64());
        break;
      case boost::json::kind::uint64:
        d = static_cast<double>(v.get_uint64());
        break;
      default:
        decoder.throwTypeMismatch(codingTypeName<F>());
    }
    // A number too large for a double parses as infinity.
    if (!std::isfinite(d) || (sizeof(F) < sizeof(double) &&
                              std::abs(d) > static_cast<double>(std::numeric_limits<F>::max()))) {
      detail::throwNumberDoesNotFit(decoder, codingTypeName<F>());
    }
    return static_cast<F>(d);
  }
};

template <>
struct Coding<std::string> {
  static void encode(const std::string& value, Encoder& encoder) {
    encoder.json().emplace_string().assign(value);
  }
  static std::string decode(const Decoder& decoder) {
    if (!decoder.json().is_string()) decoder.throwTypeMismatch("String");
    return std::string(decoder.json().get_string());
  }
};

// A JSON value passes through unchanged (decoded as a copy on the default
// memory resource).
template <>
struct Coding<boost::json::value> {
  static void encode(const boost::json::value& value, Encoder& encoder) {
    encoder.json() = boost::json::value(value, encoder.json().storage());
  }
  static boost::json::value decode(const Decoder& decoder) {
    return boost::json::value(decoder.json(), boost::json::storage_ptr());
  }
};

// A JSON object (an untyped dictionary) passes through unchanged; anything
// else is a type mismatch.
template <>
struct Coding<boost::json::object> {
  static void encode(const boost::json::object& value, Encoder& encoder) {
    encoder.json() = boost::json::value(value, encoder.json().storage());
  }
  static boost::json::object decode(const Decoder& decoder) {
    if (!decoder.json().is_object()) decoder.throwTypeMismatch("Dictionary<String, Any>");
    return boost::json::object(decoder.json().get_object(), boost::json::storage_ptr());
  }
};

// Absent encodes as null; null decodes as absent.
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
    encoder.json().get_array().reserve(values.size());
    for (const T& v : values) c.encode(v);
  }
  static std::set<T, Compare, Alloc> decode(const Decoder& decoder) {
    UnkeyedDecodingContainer c = decoder.unkeyedContainer();
    std::set<T, Compare, Alloc> out;
    while (!c.isAtEnd()) out.insert(c.template decode<T>());
    return out;
  }
};

namespace detail {

// A string-keyed map codes as an object, one member per entry.
template <class Map>
struct StringKeyedMapCoding {
  static void encode(const Map& values, Encoder& encoder) {
    KeyedEncodingContainer c = encoder.container();
    encoder.json().get_object().reserve(values.size());
    for (const auto& [key, value] : values) c.encode(value, key);
  }
  static Map decode(const Decoder& decoder) {
    decoder.container();  // checks the kind and the depth
    Map out;
    for (const auto& member : decoder.json().get_object()) {
      Decoder element(member.value(), decoder.options(), decoder.node().child(member.key()));
      out.emplace(std::string(member.key()), Coding<typename Map::mapped_type>::decode(element));
    }
    return out;
  }
};

}  // namespace detail

template <class V, class Compare, class Alloc>
struct Coding<std::map<std::string, V, Compare, Alloc>>
    : detail::StringKeyedMapCoding<std::map<std::string, V, Compare, Alloc>> {};
template <class V, class Hash, class Eq, class Alloc>
struct Coding<std::unordered_map<std::string, V, Hash, Eq, Alloc>>
    : detail::StringKeyedMapCoding<std::unordered_map<std::string, V, Hash, Eq, Alloc>> {};

}  // namespace zorlan
