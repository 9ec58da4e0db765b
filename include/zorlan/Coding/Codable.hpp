// Making types codable. Include this header to code any of:
//   - standard types (StandardCodings.hpp), enumerations with raw values
//     (EnumCoding.hpp), Date, Data and URL (PlatformCodings.hpp);
//   - a type with members `void encode(Encoder&) const` and
//     `static T decode(const Decoder&)`;
//   - a struct described once with ZORLAN_CODABLE:
//
//   struct Artwork { std::string url; double aspectRatio; std::optional<std::string> label; };
//   ZORLAN_CODABLE(Artwork, url, aspectRatio, label);
//
// A described struct codes as an object with one member per field, named as
// the field, in the order listed. An optional field that is absent or null
// decodes as absent, and an absent optional field is not written. A missing
// required field throws keyNotFound; a null one valueNotFound.
#pragma once

#include <boost/describe/class.hpp>
#include <boost/describe/members.hpp>
#include <boost/mp11/algorithm.hpp>
#include <concepts>
#include <optional>
#include <type_traits>

#include "zorlan/Coding/Decoder.hpp"
#include "zorlan/Coding/Encoder.hpp"
#include "zorlan/Coding/EnumCoding.hpp"
#include "zorlan/Coding/PlatformCodings.hpp"
#include "zorlan/Coding/StandardCodings.hpp"

namespace zorlan {

// Describes a struct's public fields for coding, at namespace scope next to
// the struct. The struct must be default-constructible.
#define ZORLAN_CODABLE(Type, ...) BOOST_DESCRIBE_STRUCT(Type, (), (__VA_ARGS__))

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
concept DescribedStruct = std::is_class_v<T> && boost::describe::has_describe_members<T>::value;

}  // namespace detail

template <detail::HasMemberCoding T>
struct Coding<T> {
  static void encode(const T& value, Encoder& encoder) { value.encode(encoder); }
  static T decode(const Decoder& decoder) { return T::decode(decoder); }
};

template <class T>
requires(detail::DescribedStruct<T> && !detail::HasMemberCoding<T>) struct Coding<T> {
  using Members = boost::describe::describe_members<T, boost::describe::mod_public>;

  static void encode(const T& value, Encoder& encoder) {
    KeyedEncodingContainer c = encoder.container();
    encoder.json().get_object().reserve(boost::mp11::mp_size<Members>::value);
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

}  // namespace zorlan
