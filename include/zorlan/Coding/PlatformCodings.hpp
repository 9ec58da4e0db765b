// The codings of the platform values: Date and Data by the coder's strategies,
// URL as its absolute string.
#pragma once

#include "zorlan/Coding/Decoder.hpp"
#include "zorlan/Coding/Encoder.hpp"
#include "zorlan/Platform/Data.hpp"
#include "zorlan/Platform/Date.hpp"
#include "zorlan/Platform/URL.hpp"

namespace zorlan {

// By the date strategy of the encoder or decoder (seconds since 2001 by
// default). Decoding an ISO 8601 date that does not parse throws
// dataCorrupted "Expected date string to be ISO8601-formatted.".
template <>
struct Coding<Date> {
  static void encode(const Date& value, Encoder& encoder);
  static Date decode(const Decoder& decoder);
};

// By the data strategy (base64 text by default). Text that is not base64
// throws dataCorrupted "Encountered Data is not valid Base64.".
template <>
struct Coding<Data> {
  static void encode(const Data& value, Encoder& encoder);
  static Data decode(const Decoder& decoder);
};

// As its absolute string. A string that is not a URL throws dataCorrupted
// "Invalid URL string.".
template <>
struct Coding<URL> {
  static void encode(const URL& value, Encoder& encoder);
  static URL decode(const Decoder& decoder);
};

template <>
struct CodingTypeName<Date> {
  static std::string name() { return "Date"; }
};
template <>
struct CodingTypeName<Data> {
  static std::string name() { return "Data"; }
};
template <>
struct CodingTypeName<URL> {
  static std::string name() { return "URL"; }
};

}  // namespace zorlan
