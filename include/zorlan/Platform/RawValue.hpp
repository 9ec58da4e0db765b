// fromRawValue<E>(text): the enumerator of E whose raw value is exactly
// `text`, or absent. Each enumeration with raw values specialises it beside
// its `rawValue(E)` overload:
//
//   std::optional<UserInfoKey> key = fromRawValue<UserInfoKey>("contentId");
#pragma once

#include <optional>
#include <string_view>

namespace zorlan {

template <class E>
std::optional<E> fromRawValue(std::string_view raw);

}  // namespace zorlan
