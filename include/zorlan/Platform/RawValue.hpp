// fromRawValue<E>(text): the enumerator of E whose raw value is exactly
// `text`, or absent. Each enumeration with raw values specialises it beside
// its `rawValue(E)` overload:
//
//   std::optional<UserInfoKey> key = fromRawValue<UserInfoKey>("contentId");
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace zorlan {

template <class E>
std::optional<E> fromRawValue(std::string_view raw);

// The enumerator among `all` whose `rawValue` (found by argument-dependent
// lookup) is exactly `raw`: the usual body of a fromRawValue specialisation.
template <class E, std::size_t N>
std::optional<E> findByRawValue(const E (&all)[N], std::string_view raw) {
  for (E e : all) {
    if (rawValue(e) == raw) return e;
  }
  return std::nullopt;
}

}  // namespace zorlan
