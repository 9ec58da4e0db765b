// Parsing JSON text into a Boost.JSON tree with every number read correctly
// rounded, so that each number the writer prints reads back as the same double.
#pragma once

#include <boost/json/array.hpp>
#include <boost/json/basic_parser.hpp>
#include <boost/json/object.hpp>
#include <boost/json/storage_ptr.hpp>
#include <boost/json/string.hpp>
#include <boost/json/value.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zorlan::detail {

// Parses the whole of `text` with `options` into a tree whose storage is
// `storage`. On failure sets `ec` (trailing text after the document is
// `extra_data`), sets `consumed` to where parsing stopped and returns null.
//
// Boost.JSON 1.81 rounds some decimal numbers to a neighbouring double and
// reads a zero with an exponent beyond the range of double ("0e400") as NaN;
// here every number that is not an integer is read from its text with
// std::from_chars instead. Numbers beyond the range of double keep Boost.JSON's
// infinity or zero.
boost::json::value parseJSONPrecisely(std::string_view text,
                                      const boost::json::parse_options& options,
                                      boost::json::storage_ptr storage, std::size_t& consumed,
                                      boost::system::error_code& ec);

// JSON bytes in UTF-16 or UTF-32 converted to UTF-8 in `buffer`; UTF-8 bytes
// as they are (see JSONDecoder). Absent for ill-formed UTF-16 or UTF-32.
std::optional<std::string_view> jsonBytesAsUTF8(std::string_view bytes, std::string& buffer);

// The options JSONDecoder parses with.
boost::json::parse_options jsonParseOptions();

// The double of a number Boost.JSON read as `parsed` from `text` (all of the
// number's text), correctly rounded; a number beyond the range of double
// keeps Boost.JSON's infinity or zero, and a zero with such an exponent is a
// zero.
double preciseDouble(double parsed, std::string_view text);

// Whether the integer 0 that Boost.JSON read was written "-0" (the text of
// the double -0.0): `last` is the number's last piece, `earlier` its pieces
// before that (empty when the number came in one piece).
inline bool isNegativeZeroText(std::int64_t value, std::string_view last,
                               std::string_view earlier) noexcept {
  return value == 0 && (earlier.empty() ? last.starts_with('-') : earlier.front() == '-');
}

// The limits and names a handler of boost::json::basic_parser declares: no
// limits beyond Boost.JSON's own.
struct JSONParserHandlerBase {
  static constexpr std::size_t max_object_size = boost::json::object::max_size();
  static constexpr std::size_t max_array_size = boost::json::array::max_size();
  static constexpr std::size_t max_key_size = boost::json::string::max_size();
  static constexpr std::size_t max_string_size = boost::json::string::max_size();

  using ec_t = boost::system::error_code;
  using sv_t = boost::json::string_view;
};

}  // namespace zorlan::detail
