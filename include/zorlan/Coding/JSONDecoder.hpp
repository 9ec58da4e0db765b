// JSONDecoder: values from JSON text, with strategies.
//
//   struct Artwork { std::string url; double aspectRatio; std::optional<std::string> label; };
//   ZORLAN_CODABLE(Artwork, url, aspectRatio, label);
//
//   Artwork art = JSONDecoder().decode<Artwork>(R"({"url":"a.jpg","aspectRatio":1.78})");
//   auto dates = JSONDecoder::iso8601();                // dates as ISO 8601 strings
//
// `decode` throws DecodingError (type mismatch, value not found, key not
// found, data corrupted; each with the coding path) or, for text that is not
// JSON, DecodingError::dataCorrupted with "The given data was not valid
// JSON.". Time is linear in the text; documents nest at most 512 levels. A
// decoder is a value: use one per thread, or share a const one.
#pragma once

#include <boost/json/storage_ptr.hpp>
#include <boost/json/value.hpp>
#include <concepts>
#include <string_view>

#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Platform/Data.hpp"

namespace zorlan {

namespace detail {
// A reference-counted monotonic arena sized for a document of `textSize` bytes.
boost::json::storage_ptr makeParseArena(std::size_t textSize);

// A type that reads itself from JSON bytes directly, exactly as decoding it
// from the parsed tree would (the same value, or the same error), whatever
// the decoder's strategies.
template <class T>
concept DecodesJSONText = requires(std::string_view bytes) {
  { T::decodeJSONText(bytes) } -> std::same_as<T>;
};
}  // namespace detail

// Parses JSON text (RFC 8259; a bare number or string at the top level is
// accepted; nesting deeper than `kMaxDepth` levels is refused) and decodes a
// codable value from it. Throws DecodingError: `dataCorrupted` with "The given
// data was not valid JSON." and the parser's error as underlying error when
// the text is not JSON, or the decoding's own errors.
//
// JSON bytes are UTF-8, or UTF-16 or UTF-32 in either byte order: those are
// told by a byte order mark (FE FF, FF FE, 00 00 FE FF, FF FE 00 00, which is
// dropped) or else by the zero bytes among the first four, as JSON text
// begins with ASCII (00 00 00 xx and xx 00 00 00 are UTF-32, 00 xx and xx 00
// UTF-16, big- and little-endian), and read as the same text in UTF-8. A
// UTF-8 byte order mark is not JSON. Ill-formed UTF-16 or UTF-32 is
// dataCorrupted as above, with an illegal_byte_sequence error underneath.
class JSONDecoder {
 public:
  static constexpr std::size_t kMaxDepth = kMaxCodingDepth;

  DateDecodingStrategy dateDecodingStrategy;
  DataDecodingStrategy dataDecodingStrategy;

  // A decoder reading dates as ISO 8601 text without fractional seconds, all
  // else default.
  static JSONDecoder iso8601() {
    return {DateDecodingStrategy::of(DateDecodingStrategy::Kind::iso8601), {}};
  }

  // Decodes a T from JSON bytes. Throws DecodingError.
  template <class T>
  T decode(const Data& data) const {
    const auto& bytes = data.bytes();
    return decode<T>(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  }
  // Decodes a T from JSON text. Throws DecodingError. The parsed tree lives
  // in an arena for the duration of the call; a copy of `Decoder::json()`
  // shares (and keeps alive) that arena.
  template <class T>
  T decode(std::string_view text) const {
    if constexpr (detail::DecodesJSONText<T>) {
      return T::decodeJSONText(text);
    } else {
      return decodeFromJSON<T>(parse(text, detail::makeParseArena(text.size())));
    }
  }
  // Decodes a T from a tree already parsed. Throws DecodingError.
  template <class T>
  T decodeFromJSON(const boost::json::value& json) const {
    DecodingOptions options{dateDecodingStrategy, dataDecodingStrategy};
    return Coding<T>::decode(Decoder(json, options));
  }

  // Parses JSON bytes as the decoder does into a tree allocated from
  // `storage` (the default resource unless given). Throws
  // DecodingError.dataCorrupted.
  static boost::json::value parse(std::string_view bytes, boost::json::storage_ptr storage = {});
};

}  // namespace zorlan
