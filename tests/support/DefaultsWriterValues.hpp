// What the reliability test's writer process stores: the n-th write's key
// and value, and the way back from a stored value to its n.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zorlan/Platform/PropertyListValue.hpp"

namespace zorlan::testing {

inline std::string writerKey(std::int64_t n) { return "k" + std::to_string(n % 8); }

// Four shapes in turn: an integer, an array, a dictionary with bytes, a string.
inline PropertyListValue writerValue(std::int64_t n) {
  switch (n % 4) {
    case 0:
      return n;
    case 1:
      return PropertyListValue::Array{n, std::string(100, static_cast<char>('a' + n % 26))};
    case 2:
      return PropertyListValue::Dictionary{
          {"n", n}, {"bytes", Data(std::vector<std::uint8_t>(300, static_cast<std::uint8_t>(n)))}};
    default:
      return std::to_string(n);
  }
}

// The n whose write left `value`, when it is exactly such a value.
inline std::optional<std::int64_t> writerNumber(const PropertyListValue& value) {
  std::optional<std::int64_t> n;
  if (const auto* i = value.get<std::int64_t>()) n = *i;
  if (const auto* a = value.get<PropertyListValue::Array>(); a && !a->empty()) {
    if (const auto* i = a->front().get<std::int64_t>()) n = *i;
  }
  if (const auto* d = value.get<PropertyListValue::Dictionary>(); d && d->contains("n")) {
    if (const auto* i = d->at("n").get<std::int64_t>()) n = *i;
  }
  if (const auto* s = value.get<std::string>()) n = std::stoll(*s);
  if (n && *n >= 0 && writerValue(*n) == value) return n;
  return std::nullopt;
}

}  // namespace zorlan::testing
