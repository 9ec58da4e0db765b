// Values as text by way of their JSON bytes in a chosen character encoding,
// and the character encodings themselves.
//
// Text is Unicode, held as a std::string of UTF-8. JSONStringEncoder encodes
// a value to JSON bytes (UTF-8) and reads those bytes as text in the chosen
// encoding, as text is made from bytes in that encoding; JSONStringDecoder
// writes text as bytes in the chosen encoding and decodes a value from those
// bytes. Only UTF-8 leaves the JSON as it is:
//
//   encoding           encoder (JSON bytes to text)      decoder (text to bytes)
//   utf8               the JSON text itself              the text's UTF-8
//   ascii              refuses a byte above 0x7F         refuses a character past U+007F
//   isoLatin1          each byte one character: the      each character (to U+00FF) one
//                      UTF-8 of "é" gives "Ã©"           byte: "Ã©" gives the UTF-8 of "é"
//   utf16...           the bytes as UTF-16 code units:   UTF-16 code units (utf16 puts
//                      "ab" (22 61 62 22) gives          a byte order mark first), which
//                      U+2261 U+6222; refuses an odd     JSONDecoder reads as UTF-16
//                      length or unpaired surrogate
//
// So the decoder reads back what the encoder wrote in utf8, ascii, isoLatin1,
// utf16BigEndian and utf16LittleEndian, but not in utf16: the mark it adds
// makes JSONDecoder read the encoder's UTF-8 bytes as UTF-16.
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

// The text `utf8` as bytes in `encoding`; absent when the text is not
// well-formed UTF-8 or holds a character the encoding cannot represent (é in
// ASCII, € in ISO Latin 1). Thread-safe; linear in the text.
std::optional<std::string> encodeText(std::string_view utf8, StringEncoding encoding);

// `bytes` read as text in `encoding`, as UTF-8; absent when they are not text
// in that encoding (a byte above 0x7F in ASCII, an odd number of bytes or an
// unpaired surrogate in UTF-16, ill-formed UTF-8). Every byte string is ISO
// Latin 1 text. Thread-safe; linear in the bytes.
std::optional<std::string> decodeText(std::string_view bytes, StringEncoding encoding);

// Thrown when bytes are not text in the requested character encoding, or text
// cannot be written in it. It carries nothing else. Domain "zorlan::JSONStringCodingError",
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

// Encodes values to text by way of JSON bytes read in a character encoding.
// Stateless; thread-safe.
class JSONStringEncoder {
 public:
  JSONStringEncoder() = default;

  // Encodes `value` with a JSONEncoder in its default configuration (dates as
  // seconds since 2001, compact, "/" escaped) and returns the JSON bytes read
  // as text in `encoding` (see the table above). Throws the encoder's
  // EncodingError unchanged, and JSONStringCodingError when the bytes are not
  // text in `encoding` (any non-ASCII character with `ascii`, an odd number of
  // bytes with UTF-16).
  template <class T>
  std::string encode(const T& value, StringEncoding encoding = StringEncoding::utf8) const {
    const Data json = JSONEncoder().encode(value);
    const auto& bytes = json.bytes();
    std::optional<std::string> text = decodeText(
        std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()), encoding);
    if (!text) throw JSONStringCodingError();
    return std::move(*text);
  }
};

// Decodes values from text by way of its bytes in a character encoding.
// Stateless; thread-safe.
//
// Dates are read as ISO 8601 text, while JSONStringEncoder writes them as
// seconds since 2001: a date written by the string encoder does not read back
// through the string decoder (typeMismatch). Use JSONEncoder::iso8601() to
// write text this decoder reads.
class JSONStringDecoder {
 public:
  JSONStringDecoder() = default;

  // Writes `text` (UTF-8) as bytes in `encoding` (see the table above), then
  // decodes a T from those bytes with JSONDecoder::iso8601(). Throws
  // JSONStringCodingError, before any decoding, when `text` is not UTF-8 or
  // holds a character `encoding` cannot represent (é with `ascii`, € with
  // `isoLatin1`); the decoder's DecodingError unchanged otherwise (bytes
  // that are not JSON: the ISO Latin 1 byte of é is not UTF-8).
  template <class T>
  T decode(std::string_view text, StringEncoding encoding = StringEncoding::utf8) const {
    std::optional<std::string> bytes = encodeText(text, encoding);
    if (!bytes) throw JSONStringCodingError();
    return JSONDecoder::iso8601().decode<T>(std::string_view(*bytes));
  }
};

}  // namespace zorlan
