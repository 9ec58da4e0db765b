// How JSON coders write and read dates and bytes, and how they print text.
#pragma once

#include <functional>
#include <utility>

#include "zorlan/Platform/Data.hpp"
#include "zorlan/Platform/Date.hpp"

namespace zorlan {

class Encoder;
class Decoder;

// How dates are encoded. The default is `deferredToDate`: seconds since
// 2001-01-01 as a number. A `custom` strategy without a function stops the
// process when used (precondition); so do the others below.
struct DateEncodingStrategy {
  enum class Kind { deferredToDate, secondsSince1970, millisecondsSince1970, iso8601, custom };
  Kind kind = Kind::deferredToDate;
  std::function<void(const Date&, Encoder&)> custom = {};

  static DateEncodingStrategy of(Kind kind) { return {kind, {}}; }
  static DateEncodingStrategy customized(std::function<void(const Date&, Encoder&)> f) {
    return {Kind::custom, std::move(f)};
  }
  // A custom strategy writing ISO 8601 text with milliseconds
  // ("2024-01-02T03:04:05.678Z"); EncodingError.invalidValue for a date
  // outside the years 0000 to 9999. Made once, on first use; thread-safe.
  static const DateEncodingStrategy& iso8601WithFractionalSeconds();
};

// How dates are decoded; the mirror of `DateEncodingStrategy`.
struct DateDecodingStrategy {
  enum class Kind { deferredToDate, secondsSince1970, millisecondsSince1970, iso8601, custom };
  Kind kind = Kind::deferredToDate;
  std::function<Date(const Decoder&)> custom = {};

  static DateDecodingStrategy of(Kind kind) { return {kind, {}}; }
  static DateDecodingStrategy customized(std::function<Date(const Decoder&)> f) {
    return {Kind::custom, std::move(f)};
  }
  // A custom strategy reading ISO 8601 text whose seconds carry a fraction
  // ("2024-01-02T03:04:05.678Z"; text without one is refused). Throws
  // dataCorrupted "Date string does not match format expected by formatter"
  // for other text, typeMismatch for a value that is not a string. Made once,
  // on first use; thread-safe.
  static const DateDecodingStrategy& iso8601WithFractionalSeconds();
};

// How bytes are encoded: base64 text (the default) or custom.
struct DataEncodingStrategy {
  enum class Kind { base64, custom };
  Kind kind = Kind::base64;
  std::function<void(const Data&, Encoder&)> custom = {};

  static DataEncodingStrategy customized(std::function<void(const Data&, Encoder&)> f) {
    return {Kind::custom, std::move(f)};
  }
};

// How bytes are decoded; the mirror of `DataEncodingStrategy`.
struct DataDecodingStrategy {
  enum class Kind { base64, custom };
  Kind kind = Kind::base64;
  std::function<Data(const Decoder&)> custom = {};

  static DataDecodingStrategy customized(std::function<Data(const Decoder&)> f) {
    return {Kind::custom, std::move(f)};
  }
};

// The strategies an encoder passes down to every value it encodes.
struct EncodingOptions {
  DateEncodingStrategy dateStrategy;
  DataEncodingStrategy dataStrategy;
};

// The strategies a decoder passes down to every value it decodes.
struct DecodingOptions {
  DateDecodingStrategy dateStrategy;
  DataDecodingStrategy dataStrategy;
};

}  // namespace zorlan
