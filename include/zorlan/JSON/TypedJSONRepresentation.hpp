// Any codable value as a typed JSON tree, and comparison of codable values
// with a tolerance on their numbers.
#pragma once

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/JSON/TypedJSONContainer.hpp"
#include "zorlan/JSON/TypedJSONValue.hpp"
#include "zorlan/Numerics/RoughlyEqual.hpp"

namespace zorlan {

// A value the library's coders can both write and read.
template <class V>
concept TypedJSONRepresentable = detail::IsEncodable<V> && detail::IsDecodable<V>;

// `value` as a typed JSON tree: encoded to JSON bytes by a default
// JSONEncoder, then decoded from those bytes by a default JSONDecoder, so the
// tree holds exactly what a reader of the stored bytes sees (every number a
// double). Throws the EncodingError or DecodingError of either step.
template <TypedJSONRepresentable V>
TypedJSON typedJSONRepresentation(const V& value) {
  const Data bytes = JSONEncoder().encode(value);
  return JSONDecoder().decode<TypedJSON>(bytes);
}

// Whether two codable values are equal within `within` on their numbers:
// both are turned into typed JSON trees and the trees compared (see
// TypedJSONContainer::roughlyEqual). False when either cannot be turned into
// a tree. Types with their own tolerance rule (RoughlyEqual) use that rule.
template <TypedJSONRepresentable V>
requires(!RoughlyEqual<V>) bool roughlyEqual(const V& lhs, const V& rhs, double within) noexcept {
  try {
    const TypedJSON left = typedJSONRepresentation(lhs);
    const TypedJSON right = typedJSONRepresentation(rhs);
    return left.roughlyEqual(right, within);
  } catch (...) {
    return false;
  }
}

}  // namespace zorlan
