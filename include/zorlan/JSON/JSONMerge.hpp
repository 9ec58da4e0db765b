// Deep merging of untyped JSON dictionaries, and re-keying dictionaries keyed
// by enumerations with their raw values.
#pragma once

#include <boost/json/object.hpp>
#include <map>
#include <string>
#include <type_traits>
#include <unordered_map>

#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Coding/EnumCoding.hpp"

namespace zorlan {

// A new dictionary: `base` with `updateWith` merged in. Every member of the
// update is set in the result, except that where both sides hold an object
// under the same key, the two objects are merged by the same rule. So members
// only the base has survive at every depth, the update wins at every leaf,
// arrays are replaced whole, and an object meeting a non-object (either way)
// is replaced by the update's value. Neither input changes. Merging with an
// empty update gives the base; an empty base gives the update. Recursion is as
// deep as the objects nested in both inputs. Thread-safe for inputs no one
// changes meanwhile.
boost::json::object mergeKeys(const boost::json::object& base,
                              const boost::json::object& updateWith);

namespace detail {

template <class E>
concept RawRepresentableEnum = std::is_enum_v<E> && requires(E e) {
  RawValueTraits<E>::rawValue(e);
};

template <class E, class Map>
void insertByRawValue(const E& key, const auto& value, Map& out) {
  using Traits = RawValueTraits<E>;
  auto raw = Traits::rawValue(key);
  ZORLAN_PRECONDITION(raw.has_value(), "A dictionary key has no raw value.");
  // Assignment, not insertion: of two keys with one raw value, the later wins.
  out.insert_or_assign(typename Traits::Coded(*raw), value);
}

}  // namespace detail

// The same values keyed by each key's raw value (a std::string for
// enumerations with string raw values, the integer otherwise). When two keys
// share a raw value, the one visited later in the dictionary's own order
// wins. A key without a raw value (a value of the enumeration that no
// enumerator names) stops the process.
template <detail::RawRepresentableEnum E, class V, class Compare, class Alloc>
std::map<typename detail::RawValueTraits<E>::Coded, V> mapKeysToRawValue(
    const std::map<E, V, Compare, Alloc>& dictionary) {
  std::map<typename detail::RawValueTraits<E>::Coded, V> result;
  for (const auto& [key, value] : dictionary) detail::insertByRawValue(key, value, result);
  return result;
}

template <detail::RawRepresentableEnum E, class V, class Hash, class Eq, class Alloc>
std::unordered_map<typename detail::RawValueTraits<E>::Coded, V> mapKeysToRawValue(
    const std::unordered_map<E, V, Hash, Eq, Alloc>& dictionary) {
  std::unordered_map<typename detail::RawValueTraits<E>::Coded, V> result;
  result.reserve(dictionary.size());
  for (const auto& [key, value] : dictionary) detail::insertByRawValue(key, value, result);
  return result;
}

}  // namespace zorlan
