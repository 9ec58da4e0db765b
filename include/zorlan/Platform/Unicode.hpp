// Unicode text operations on UTF-8 strings: user-perceived characters
// (extended grapheme clusters), lower-casing, canonical composition and the
// white-space-and-newline set.
//
// Ill-formed UTF-8 never fails: each ill-formed sequence counts as one
// U+FFFD REPLACEMENT CHARACTER (and is written as one where text is produced).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zorlan::unicode {

// The user-perceived characters of `text`, in order, as views into `text`
// (valid while `text` is). "e" followed by U+0301 is one character, and so is a
// flag or a family joined with U+200D. Thread-safe; linear in the text.
std::vector<std::string_view> characters(std::string_view text);

// The number of user-perceived characters of `text`. Thread-safe.
std::size_t characterCount(std::string_view text);

// `text` lower-cased by the Unicode default (locale-independent) full case
// mapping: "ÀB" gives "àb", "İ" gives "i̇". Thread-safe.
std::string lowercased(std::string_view text);

// `text` in Normalization Form C (canonical composition): "e" followed by
// U+0301 gives "é". Two texts are canonically equivalent exactly when their
// forms are equal. Thread-safe.
std::string normalizedNFC(std::string_view text);

// Whether `scalar` is in the white-space-and-newline set: the space separators
// (general category Zs), the line and paragraph separators (Zl, Zp), U+0009 to
// U+000D and U+0085.
bool isWhitespaceOrNewline(char32_t scalar) noexcept;

// The length (1 to 4) of the well-formed UTF-8 sequence that starts at `p`
// and ends before `end`, or 0 when it is ill-formed (a stray continuation
// byte, an overlong form, a surrogate, a value past U+10FFFF, a cut-off
// sequence). `p` must be before `end`.
std::size_t wellFormedUTF8Length(const unsigned char* p, const unsigned char* end) noexcept;

// Appends the Unicode scalar `scalar` (at most U+10FFFF, not a surrogate) to
// `out` as UTF-8.
void appendUTF8(std::string& out, char32_t scalar);

}  // namespace zorlan::unicode
