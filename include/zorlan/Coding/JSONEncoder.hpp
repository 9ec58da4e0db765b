// JSONEncoder: values to JSON text, with formatting and strategies.
#pragma once

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/storage_ptr.hpp>
#include <boost/json/value.hpp>
#include <string>

#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Coding/JSONWriter.hpp"
#include "zorlan/Platform/Data.hpp"

namespace zorlan {

namespace detail {
// A type that writes itself as JSON text directly, exactly as encoding it to
// a tree and writing that would (the same text, or the same error), whatever
// the encoder's strategies.
template <class T>
concept EncodesJSONText = requires(const T& value, const JSONWritingOptions& options,
                                   std::string& out) {
  value.encodeJSONText(options, out);
};
}  // namespace detail

// Encodes codable values. Defaults: compact output, "/" escaped, dates as
// seconds since 2001, bytes as base64. Throws EncodingError (for example for
// a non-finite number). Not thread-safe to configure while encoding.
class JSONEncoder {
 public:
  JSONWritingOptions outputFormatting;
  DateEncodingStrategy dateEncodingStrategy;
  DataEncodingStrategy dataEncodingStrategy;

  // An encoder writing dates as ISO 8601 text without fractional seconds, all
  // else default.
  static JSONEncoder iso8601() {
    return {{}, DateEncodingStrategy::of(DateEncodingStrategy::Kind::iso8601), {}};
  }

  // The value as JSON bytes (UTF-8). Throws EncodingError.
  template <class T>
  Data encode(const T& value) const {
    return Data(encodeToString(value));
  }
  // The value as JSON text. Throws EncodingError.
  template <class T>
  std::string encodeToString(const T& value) const {
    if constexpr (detail::EncodesJSONText<T>) {
      std::string out;
      value.encodeJSONText(outputFormatting, out);
      return out;
    } else {
      // The tree lives only until it is written: allocate it from an arena.
      unsigned char buffer[4096];
      boost::json::monotonic_resource arena(buffer, sizeof buffer);
      return writeJSON(encodeToJSON(value, &arena), outputFormatting);
    }
  }
  // The tree the encoder builds, before it becomes text, allocated from
  // `storage` (the default resource unless given). Throws EncodingError.
  template <class T>
  boost::json::value encodeToJSON(const T& value, boost::json::storage_ptr storage = {}) const {
    boost::json::value root(std::move(storage));
    EncodingOptions options{dateEncodingStrategy, dataEncodingStrategy};
    Encoder encoder(root, options);
    Coding<T>::encode(value, encoder);
    return root;
  }
};

}  // namespace zorlan
