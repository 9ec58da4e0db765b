// JSONEncoder: values to JSON text, with formatting and strategies.
#pragma once

#include <boost/json/value.hpp>
#include <string>

#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Coding/JSONWriter.hpp"
#include "zorlan/Platform/Data.hpp"

namespace zorlan {

// Encodes codable values. Defaults: compact output, "/" escaped, dates as
// seconds since 2001, bytes as base64. Throws EncodingError (for example for
// a non-finite number). Not thread-safe to configure while encoding.
class JSONEncoder {
 public:
  JSONWritingOptions outputFormatting;
  DateEncodingStrategy dateEncodingStrategy;
  DataEncodingStrategy dataEncodingStrategy;

  template <class T>
  Data encode(const T& value) const {
    return Data(encodeToString(value));
  }
  template <class T>
  std::string encodeToString(const T& value) const {
    return writeJSON(encodeToJSON(value), outputFormatting);
  }
  // The tree the encoder builds, before it becomes text.
  template <class T>
  boost::json::value encodeToJSON(const T& value) const {
    boost::json::value root;
    EncodingOptions options{dateEncodingStrategy, dataEncodingStrategy};
    Encoder encoder(root, options);
    Coding<T>::encode(value, encoder);
    return root;
  }
};

}  // namespace zorlan
