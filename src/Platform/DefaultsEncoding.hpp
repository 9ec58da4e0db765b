// How the defaults database keeps arrays and dictionaries in one column: a
// compact, self-describing binary form, and its bounds-checked reader.
//
// Layout (all integers little-endian):
//   blob    := 0x01 value                      format version, then one value
//   value   := tag payload                     tag = PropertyListValue::Kind
//   string, data, url  := varint(length) bytes
//   boolean := 0x00 | 0x01
//   integer := varint(zigzag(n))
//   float32 := 4 bytes (IEEE 754 bits)   float64, date := 8 bytes
//   array   := varint(count) value*
//   dictionary := varint(count) (varint(length) key-bytes value)*
// varint is unsigned LEB128 of at most 10 bytes. A reader refuses anything
// else: an unknown tag, a count or length past the end, trailing bytes,
// nesting deeper than kMaxNesting, a repeated dictionary key, a URL text
// that does not parse.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "zorlan/Platform/PropertyListValue.hpp"

namespace zorlan::detail {

// The deepest nesting of arrays and dictionaries the database keeps (a
// top-level array holding an array is 2).
inline constexpr int kMaxDefaultsNesting = 64;

// Appends the blob of `value` (an array or dictionary) to `out`. Throws
// std::invalid_argument, leaving `out` as it was, for a value nested deeper
// than kMaxDefaultsNesting.
void encodeContainer(const PropertyListValue& value, std::vector<std::uint8_t>& out);

// The value a blob holds, when it is a well-formed blob whose outer value is
// of kind `expected`; absent otherwise. Never reads outside `bytes`.
std::optional<PropertyListValue> decodeContainer(std::span<const std::uint8_t> bytes,
                                                 PropertyListValue::Kind expected);

// Whether two values are the same, floating-point payloads compared by
// their bits (so a NaN equals itself): what a reload compares to find the
// keys another process changed.
bool identicalValues(const PropertyListValue& a, const PropertyListValue& b) noexcept;

}  // namespace zorlan::detail
