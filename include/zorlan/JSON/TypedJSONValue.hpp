// TypedJSONValue: the leaf of the typed JSON tree, a JSON string, number or
// Boolean. Null is not a leaf: it lives in TypedJSONContainer.
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "zorlan/Coding/Codable.hpp"

namespace zorlan {

// A JSON leaf: exactly one of a string, a number (any JSON number, integers
// included, held as a double) or a Boolean. A value type; equal and hashed
// by case first, then payload, numbers by exact double equality (so 0.0 and
// -0.0 are equal and hash alike).
//
// Constructible from text, from any arithmetic type (as a number) and from
// bool (as a Boolean): TypedJSONValue("a"), TypedJSONValue(3), TypedJSONValue(true).
class TypedJSONValue {
 public:
  // The cases in tag order.
  enum class Kind { string, number, boolean };

  // The empty string.
  TypedJSONValue() = default;
  TypedJSONValue(std::string text) : payload_(std::in_place_index<0>, std::move(text)) {}
  TypedJSONValue(std::string_view text) : payload_(std::in_place_index<0>, text) {}
  TypedJSONValue(const char* text) : payload_(std::in_place_index<0>, text) {}
  template <class B>
  requires std::same_as<B, bool> TypedJSONValue(B flag) : payload_(std::in_place_index<2>, flag) {}
  template <class N>
  requires(std::is_arithmetic_v<N> && !std::same_as<N, bool>) TypedJSONValue(N number)
      : payload_(std::in_place_index<1>, static_cast<double>(number)) {}

  static TypedJSONValue string(std::string text) { return TypedJSONValue(std::move(text)); }
  static TypedJSONValue number(double number) { return TypedJSONValue(number); }
  static TypedJSONValue boolean(bool flag) { return TypedJSONValue(flag); }

  Kind kind() const noexcept { return static_cast<Kind>(payload_.index()); }
  bool isString() const noexcept { return payload_.index() == 0; }
  bool isNumber() const noexcept { return payload_.index() == 1; }
  bool isBool() const noexcept { return payload_.index() == 2; }

  // The payload when the case matches, otherwise null / absent.
  const std::string* stringValue() const noexcept { return std::get_if<0>(&payload_); }
  std::optional<double> numberValue() const noexcept {
    if (const double* n = std::get_if<1>(&payload_)) return *n;
    return std::nullopt;
  }
  std::optional<bool> boolValue() const noexcept {
    if (const bool* b = std::get_if<2>(&payload_)) return *b;
    return std::nullopt;
  }

  // Readable text for debugging: a string quoted and escaped as a string
  // literal ("a\"b\n"), a number in its shortest round-trip form with a
  // fraction or exponent (1.0, 0.1, 1e+20), a Boolean as true or false.
  std::string debugDescription() const;

  // With tolerance `within`: two numbers when their difference is strictly
  // below it; two strings or two Booleans when equal; different cases never.
  bool roughlyEqual(const TypedJSONValue& other, double within) const noexcept;

  bool operator==(const TypedJSONValue&) const = default;
  std::size_t hashValue() const noexcept;

  // Codable: a string writes a single string, a number a single double
  // (non-finite numbers throw EncodingError), a Boolean a single Boolean.
  // Decoding tries a string, then a Boolean, then a number; anything else
  // throws DecodingError.dataCorrupted "Invalid JSON value a." at the
  // decoder's path.
  void encode(Encoder& encoder) const;
  static TypedJSONValue decode(const Decoder& decoder);
  // As decode, but absent instead of throwing.
  static std::optional<TypedJSONValue> decodeIfValid(const Decoder& decoder);

 private:
  std::variant<std::string, double, bool> payload_;
};

// The text a string literal of `text` would be written as: quoted, with \\,
// \", \0, \t, \n, \r and \u{..} for other control characters; ill-formed
// UTF-8 reads as U+FFFD. Thread-safe.
std::string quotedDebugText(std::string_view text);

// The shortest text that reads back as `number`, always with a fraction or an
// exponent ("1.0", "1.5", "1e+20"); "nan", "inf" and "-inf" for the others.
std::string doubleDebugText(double number);

template <>
struct CodingTypeName<TypedJSONValue> {
  static std::string name() { return "TypedJSONValue"; }
};

}  // namespace zorlan

template <>
struct std::hash<zorlan::TypedJSONValue> {
  std::size_t operator()(const zorlan::TypedJSONValue& value) const noexcept {
    return value.hashValue();
  }
};
