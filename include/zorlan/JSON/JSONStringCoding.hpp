// JSON text in a chosen character encoding: values to text and back, and the
// character encodings themselves.
//
//   std::string text = JSONStringEncoder().encode(settings, StringEncoding::ascii);
//   auto back = JSONStringDecoder().decode<Settings>(text, StringEncoding::ascii);
//
// Text here is a std::string holding the code units of the chosen encoding:
// one byte per character for ASCII and ISO Latin 1, UTF-8 as usual, and two
// bytes per code unit for UTF-16 (see StringEncoding).
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/Platform/BridgedError.hpp"

namespace zorlan {

// The character encodings text can be converted to and from.
enum class StringEncoding {
  // UTF-8 without a byte order mark. Reading refuses ill-formed UTF-8
  // (overlong forms, surrogates, truncated sequences, values past U+10FFFF).
  utf8,
  // UTF-16 with a byte order mark. Writing puts FE FF first, then big-endian
  // code units. Reading honours a leading mark in either order (and drops
  // it); without one the code units are read big-endian.
  utf16,
  // UTF-16 big-endian, no byte order mark: none is written, and a leading
  // FE FF is read as the character U+FEFF.
  utf16BigEndian,
  // UTF-16 little-endian, no byte order mark, as utf16BigEndian otherwise.
  utf16LittleEndian,
  // 7-bit ASCII: characters U+0000 to U+007F only.
  ascii,
  // ISO 8859-1: characters U+0000 to U+00FF, one byte each.
  isoLatin1,
};

// "utf8", "utf16", ... (the enumerator's name).
std::string_view toString(StringEncoding encoding) noexcept;

// `utf8` (UTF-8 text) in `encoding`; absent when the text is not well-formed
// UTF-8 or holds a character the encoding cannot represent (é in ASCII, € in
// ISO Latin 1). Thread-safe; linear in the text.
std::optional<std::string> encodeText(std::string_view utf8, StringEncoding encoding);

// `text`, in `encoding`, as UTF-8; absent when it is not valid in that
// encoding (a byte above 0x7F in ASCII, an odd number of bytes or an unpaired
// surrogate in UTF-16, ill-formed UTF-8). Every byte string is valid ISO
// Latin 1. Thread-safe; linear in the text.
std::optional<std::string> decodeText(std::string_view text, StringEncoding encoding);

// Thrown when text cannot be converted to or from the requested character
// encoding. It carries nothing else. Domain "zorlan::JSONStringCodingError",
// code 0.
class JSONStringCodingError : public std::exception, public BridgedError {
 public:
  // "JSONStringCodingError".
  const char* what() const noexcept override { return "JSONStringCodingError"; }
  std::string errorDomain() const override { return "zorlan::JSONStringCodingError"; }
  long errorCode() const override { return 0; }
  friend bool operator==(const JSONStringCodingError&, const JSONStringCodingError&) noexcept {
    return true;
  }
};

// Encodes values to JSON text in a character encoding. Stateless; thread-safe.
class JSONStringEncoder {
 public:
  JSONStringEncoder() = default;

  // Encodes `value` with a JSONEncoder in its default configuration (dates as
  // seconds since 2001, compact, "/" escaped) and returns the JSON text in
  // `encoding`. Throws the encoder's EncodingError unchanged, and
  // JSONStringCodingError when the text cannot be represented in `encoding`
  // (a non-ASCII string member with `ascii`).
  template <class T>
  std::string encode(const T& value, StringEncoding encoding = StringEncoding::utf8) const {
    std::string json = JSONEncoder().encodeToString(value);
    std::optional<std::string> text = encodeText(json, encoding);
    if (!text) throw JSONStringCodingError();
    return std::move(*text);
  }
};

// Decodes values from JSON text in a character encoding. Stateless;
// thread-safe.
//
// Dates are read as ISO 8601 text, while JSONStringEncoder writes them as
// seconds since 2001: a date written by the string encoder does not read back
// through the string decoder (typeMismatch). Use JSONEncoder::iso8601() to
// write text this decoder reads.
class JSONStringDecoder {
 public:
  JSONStringDecoder() = default;

  // Converts `text` from `encoding` to UTF-8, then decodes a T with
  // JSONDecoder::iso8601(). Throws JSONStringCodingError, before any decoding,
  // when `text` is not valid in `encoding`; the decoder's DecodingError
  // unchanged otherwise.
  template <class T>
  T decode(std::string_view text, StringEncoding encoding = StringEncoding::utf8) const {
    std::optional<std::string> json = decodeText(text, encoding);
    if (!json) throw JSONStringCodingError();
    return JSONDecoder::iso8601().decode<T>(std::string_view(*json));
  }
};

}  // namespace zorlan
