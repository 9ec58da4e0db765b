// Concatenation, joining, emptiness and splitting of attributed strings.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zorlan/Platform/AttributedString.hpp"

namespace zorlan {

// `lhs` followed by `rhs`, each keeping its attributes.
AttributedString operator+(const AttributedString& lhs, const AttributedString& rhs);

// `lhs` followed by `text` without attributes.
AttributedString operator+(const AttributedString& lhs, std::string_view text);

// The elements in order with `separator` (without attributes) between each
// two; the empty attributed string for no elements.
AttributedString joined(const std::vector<AttributedString>& elements, std::string_view separator);

// One shared, immutable empty attributed string, made once on first use.
// Thread-safe.
const AttributedString& emptyAttributedString();

// `text`, or absent when it has no characters.
std::optional<AttributedString> nonEmpty(const AttributedString& text);

// The pieces of `text` between separators, with their attributes; the
// separators themselves belong to no piece. Repeatedly the earliest occurrence
// of any separator is cut out (byte-exact search; when two start at the same
// place, the one later in `separators` wins). Text without separators gives one
// piece; a separator at the end gives an empty last piece, two adjacent ones an
// empty piece between them; "a,,b," by "," gives "a", "", "b", "". Empty
// separators are never found. Each separator's next occurrence is searched for
// again only once a cut has passed it.
std::vector<AttributedString> chunked(const AttributedString& text,
                                      const std::vector<std::string>& separators);

}  // namespace zorlan
