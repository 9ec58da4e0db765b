// Untyped JSON dictionaries: reading them from JSON bytes, writing them, and
// decoding typed values from them.
//
//   JSONDictionary settings = JSONSerialization::json(bytes);
//   Settings typed = from<Settings>(settings);
//
// An untyped dictionary is a boost::json::object: its values are null,
// Booleans, numbers (signed, unsigned or double), strings, arrays and again
// objects. A Boolean is never read as a number nor a number as a Boolean.
#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONWriter.hpp"
#include "zorlan/Platform/BridgedError.hpp"
#include "zorlan/Platform/Data.hpp"

namespace zorlan {

// An untyped JSON dictionary: string keys, any JSON values.
using JSONDictionary = boost::json::object;

// How JSONSerialization reads JSON text. By default only RFC 8259 JSON whose
// top-level value is an object or an array is read.
struct JSONReadingOptions {
  // Accept a number, string, Boolean or null as the whole document.
  bool fragmentsAllowed = false;
  // Accept C and C++ comments (/* */ and //) where white space may stand.
  bool allowComments = false;
  // Accept one comma after the last member of an object or element of an array.
  bool allowTrailingCommas = false;
};

// Thrown by JSONSerialization::json when the text is JSON but its top-level
// value is not a dictionary. Domain "zorlan::JSONSerializationError", code the
// case's position.
class JSONSerializationError : public std::exception, public BridgedError {
 public:
  enum class Code { returnTypeNotJSON };

  explicit JSONSerializationError(Code code) noexcept : code_(code) {}
  static JSONSerializationError returnTypeNotJSON() noexcept {
    return JSONSerializationError(Code::returnTypeNotJSON);
  }

  Code code() const noexcept { return code_; }
  // "JSONSerializationError.returnTypeNotJSON".
  const char* what() const noexcept override;
  std::string errorDomain() const override { return "zorlan::JSONSerializationError"; }
  long errorCode() const override { return static_cast<long>(code_); }
  friend bool operator==(const JSONSerializationError& a, const JSONSerializationError& b) noexcept {
    return a.code_ == b.code_;
  }

 private:
  Code code_;
};

// Thrown when bytes are not JSON text (or hold a fragment that the reading
// options do not allow). Domain "NSCocoaErrorDomain", code 3840. The
// underlying error is the parser's std::system_error, when the parser refused
// the text.
class JSONReadingError : public std::exception, public BridgedError {
 public:
  JSONReadingError(std::string reason, std::size_t offset, std::exception_ptr underlying);

  // Why the text was refused, for example "syntax error" or "JSON text did
  // not start with array or object and option to allow fragments not set.".
  const std::string& reason() const noexcept { return reason_; }
  // The number of bytes read before the error.
  std::size_t offset() const noexcept { return offset_; }
  // "The data couldn't be read because it isn't in the correct format.
  // <reason> around byte <offset>."
  const char* what() const noexcept override { return description_.c_str(); }
  std::string errorDomain() const override { return "NSCocoaErrorDomain"; }
  long errorCode() const override { return 3840; }
  std::vector<std::exception_ptr> underlyingErrors() const override;

 private:
  std::string reason_;
  std::size_t offset_;
  std::exception_ptr underlying_;
  std::string description_;
};

// Reading and writing untyped JSON. Stateless; every operation is thread-safe.
class JSONSerialization {
 public:
  // The JSON value of `text` (UTF-8, or UTF-8 after a UTF-8 byte order mark,
  // which is skipped). Objects and arrays nested deeper than kMaxCodingDepth
  // are refused. Integers keep their kind (int64, or uint64 above its range);
  // other numbers are doubles; a zero with any exponent is zero ("0e400"), a
  // number beyond the range of double (1e400) reads as infinity, which
  // `string` then refuses to write. Throws
  // JSONReadingError for text that is not JSON under `options`.
  static boost::json::value jsonObject(std::string_view text, const JSONReadingOptions& options = {});
  static boost::json::value jsonObject(const Data& data, const JSONReadingOptions& options = {});

  // The dictionary that `data` holds. Throws JSONReadingError when the bytes
  // are not JSON under `options`, and JSONSerializationError.returnTypeNotJSON
  // when the top-level value is not an object (an array, or a fragment the
  // options allow).
  static JSONDictionary json(const Data& with, const JSONReadingOptions& options = {});
  static JSONDictionary json(std::string_view with, const JSONReadingOptions& options = {});

  // `value` as JSON text in the library's form (see JSONWriter.hpp). Throws
  // EncodingError.invalidValue for a number that is not finite, a string or
  // key that is not UTF-8, or nesting deeper than kMaxCodingDepth.
  static std::string string(const boost::json::value& value, const JSONWritingOptions& options = {});
  static Data data(const boost::json::value& value, const JSONWritingOptions& options = {}) {
    return Data(string(value, options));
  }
};

// Decodes a T from an untyped dictionary: the dictionary is written as
// pretty-printed JSON text and decoded with JSONDecoder::iso8601() (dates as
// ISO 8601 text without fractional seconds). Throws the writer's
// EncodingError when the dictionary cannot be written (see
// JSONSerialization::string) and the decoder's DecodingError unchanged.
template <class T>
T from(const JSONDictionary& json) {
  JSONWritingOptions pretty;
  pretty.prettyPrinted = true;
  std::string text = JSONSerialization::string(json, pretty);
  return JSONDecoder::iso8601().decode<T>(std::string_view(text));
}

}  // namespace zorlan
