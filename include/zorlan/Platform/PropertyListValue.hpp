// PropertyListValue: one value as the defaults database keeps it: a string,
// Boolean, 64-bit integer, 32- or 64-bit floating-point number, bytes, date,
// URL, or an array or string-keyed dictionary of these.
//
//   PropertyListValue on(true);                      // a Boolean, never the integer 1
//   if (const bool* flag = on.get<bool>()) use(*flag);
//   PropertyListValue list(PropertyListValue::Array{std::string("a"), std::int64_t{2}});
#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "zorlan/Platform/Data.hpp"
#include "zorlan/Platform/Date.hpp"
#include "zorlan/Platform/URL.hpp"

namespace zorlan {

// A value type; copies are independent. Each value keeps its kind: a Boolean
// is not an integer, a float is not a double, and `get<T>` answers only for
// the exact kind. Equality compares kind, then payload (floating point by
// ==, so NaN is unequal to itself).
class PropertyListValue {
 public:
  using Array = std::vector<PropertyListValue>;
  using Dictionary = std::map<std::string, PropertyListValue, std::less<>>;
  // The kinds, in tag order.
  enum class Kind { string, boolean, integer, float32, float64, data, date, url, array, dictionary };

  // The empty string.
  PropertyListValue() = default;
  PropertyListValue(std::string text) : payload_(std::move(text)) {}
  PropertyListValue(std::string_view text) : payload_(std::string(text)) {}
  PropertyListValue(const char* text) : payload_(std::string(text)) {}
  template <class B>
  requires std::same_as<B, bool> PropertyListValue(B flag) : payload_(flag) {}
  // Any integer type other than bool is kept as a 64-bit integer.
  template <class I>
  requires(std::is_integral_v<I> && !std::same_as<I, bool> && !std::same_as<I, char>)
      PropertyListValue(I number)
      : payload_(static_cast<std::int64_t>(number)) {}
  PropertyListValue(float number) : payload_(number) {}
  PropertyListValue(double number) : payload_(number) {}
  PropertyListValue(Data bytes) : payload_(std::move(bytes)) {}
  PropertyListValue(Date date) : payload_(date) {}
  PropertyListValue(URL url) : payload_(std::move(url)) {}
  PropertyListValue(Array elements) : payload_(std::move(elements)) {}
  PropertyListValue(Dictionary members) : payload_(std::move(members)) {}

  Kind kind() const noexcept { return static_cast<Kind>(payload_.index()); }

  // The payload when the value is exactly of kind T (std::string, bool,
  // std::int64_t, float, double, Data, Date, URL, Array, Dictionary);
  // otherwise null.
  template <class T>
  const T* get() const noexcept {
    return std::get_if<T>(&payload_);
  }
  template <class T>
  T* get() noexcept {
    return std::get_if<T>(&payload_);
  }

  // A short readable form for tools and failures: strings quoted, data as
  // its length, dates as ISO 8601, containers in brackets.
  std::string debugDescription() const;

  friend bool operator==(const PropertyListValue&, const PropertyListValue&) = default;

 private:
  std::variant<std::string, bool, std::int64_t, float, double, Data, Date, URL, Array, Dictionary>
      payload_;
};

}  // namespace zorlan
