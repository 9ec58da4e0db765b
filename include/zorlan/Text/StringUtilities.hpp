// Conveniences on UTF-8 strings and optional strings. Counts and positions are
// in user-perceived characters (grapheme clusters), never bytes. All functions
// are pure and thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zorlan {

// The string itself, or absent when it is empty.
std::optional<std::string> nonEmpty(std::string_view text);

// `text` without its leading and trailing white space and newlines (the
// space, line and paragraph separators, U+0009 to U+000D and U+0085), removed
// scalar by scalar.
std::string trimWhitespaceAndNewLines(std::string_view text);

// When `text` has more than `length` characters: its first `length` characters
// followed by all of `with` (which does not count against the limit);
// otherwise `text` unchanged. A negative `length` stops the process.
std::string truncate(std::string_view text, std::int64_t length, std::string_view with);

// `text` with every non-overlapping occurrence of `occurrence`, found left to
// right by byte-exact comparison, removed. An empty `occurrence` removes nothing.
std::string removeOccurrences(std::string_view text, std::string_view occurrence);

// `text` padded by repeating its own last character until it has at least
// `length` characters: "ab" to 5 is "abbbb". An empty text, or one already as
// long or longer, comes back unchanged. Where copies of the last character join
// into fewer characters (a lone regional indicator pairs into a flag), more
// copies are added until the count is reached; for a character whose copies
// never separate (a Hangul leading consonant), adding stops once two copies in
// a row added no character.
std::string appendUntil(std::string_view text, std::int64_t length);

// The string, or the empty string when absent.
inline std::string valueOrEmpty(const std::optional<std::string>& text) {
  return text ? *text : std::string();
}

// True when absent or empty.
inline bool isNilOrEmpty(const std::optional<std::string>& text) noexcept {
  return !text || text->empty();
}

}  // namespace zorlan
