#include "Coding/PreciseJSONParser.hpp"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>
#include <charconv>
#include <cmath>
#include <string>

#include "zorlan/Coding/Decoder.hpp"
#include "zorlan/Platform/Unicode.hpp"

namespace zorlan::detail {
namespace {

// Builds the value as Boost.JSON's own parser does, but reads every
// non-integer number from its text with std::from_chars, correctly rounded.
// Boost.JSON 1.81 rounds some numbers to a neighbouring double (text the
// writer printed would not read back exactly) and reads a zero with an
// exponent past the range of double ("0e400") as NaN.
struct PreciseHandler : JSONParserHandlerBase {
  PreciseHandler(unsigned char* buffer, std::size_t size) : st({}, buffer, size) {}

  boost::json::value_stack st;
  std::string number;

  bool on_document_begin(ec_t&) { return true; }
  bool on_document_end(ec_t&) { return true; }
  bool on_object_begin(ec_t&) { return true; }
  bool on_object_end(std::size_t n, ec_t&) {
    st.push_object(n);
    return true;
  }
  bool on_array_begin(ec_t&) { return true; }
  bool on_array_end(std::size_t n, ec_t&) {
    st.push_array(n);
    return true;
  }
  bool on_key_part(sv_t s, std::size_t, ec_t&) {
    st.push_chars(s);
    return true;
  }
  bool on_key(sv_t s, std::size_t, ec_t&) {
    st.push_key(s);
    return true;
  }
  bool on_string_part(sv_t s, std::size_t, ec_t&) {
    st.push_chars(s);
    return true;
  }
  bool on_string(sv_t s, std::size_t, ec_t&) {
    st.push_string(s);
    return true;
  }
  bool on_number_part(sv_t s, ec_t&) {
    number.append(s.data(), s.size());
    return true;
  }
  bool on_int64(std::int64_t i, sv_t s, ec_t&) {
    const bool negativeZero = isNegativeZeroText(i, std::string_view(s.data(), s.size()), number);
    number.clear();
    if (negativeZero) {
      st.push_double(-0.0);
    } else {
      st.push_int64(i);
    }
    return true;
  }
  bool on_uint64(std::uint64_t u, sv_t, ec_t&) {
    number.clear();
    st.push_uint64(u);
    return true;
  }
  bool on_double(double d, sv_t s, ec_t&) {
    number.append(s.data(), s.size());
    d = preciseDouble(d, number);
    number.clear();
    st.push_double(d);
    return true;
  }
  bool on_bool(bool b, ec_t&) {
    st.push_bool(b);
    return true;
  }
  bool on_null(ec_t&) {
    st.push_null();
    return true;
  }
  bool on_comment_part(sv_t, ec_t&) { return true; }
  bool on_comment(sv_t, ec_t&) { return true; }
};

}  // namespace

// JSON bytes in UTF-16 or UTF-32 converted to UTF-8 in `buffer`; UTF-8 bytes
// as they are. The form is told by a byte order mark (dropped) or else by
// the zero bytes among the first four, JSON text beginning with two ASCII
// characters: 00 00 00 xx and xx 00 00 00 are UTF-32, 00 xx and xx 00 are
// UTF-16, big- and little-endian. Absent for ill-formed UTF-16 or UTF-32 (a
// length that is not a whole number of code units, an unpaired surrogate, a
// value past U+10FFFF).
std::optional<std::string_view> jsonBytesAsUTF8(std::string_view bytes, std::string& buffer) {
  auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  std::size_t unitSize;
  bool bigEndian;
  if (bytes.starts_with(std::string_view("\0\0\xFE\xFF", 4))) {
    bytes.remove_prefix(4);
    unitSize = 4, bigEndian = true;
  } else if (bytes.starts_with(std::string_view("\xFF\xFE\0\0", 4))) {
    bytes.remove_prefix(4);
    unitSize = 4, bigEndian = false;
  } else if (bytes.starts_with("\xFE\xFF")) {
    bytes.remove_prefix(2);
    unitSize = 2, bigEndian = true;
  } else if (bytes.starts_with("\xFF\xFE")) {
    bytes.remove_prefix(2);
    unitSize = 2, bigEndian = false;
  } else if (bytes.size() >= 4 && byte(0) == 0 && byte(1) == 0 && byte(2) == 0) {
    unitSize = 4, bigEndian = true;
  } else if (bytes.size() >= 4 && byte(1) == 0 && byte(2) == 0 && byte(3) == 0) {
    unitSize = 4, bigEndian = false;
  } else if (bytes.size() >= 2 && (byte(0) == 0 || byte(1) == 0)) {
    unitSize = 2, bigEndian = byte(0) == 0;
  } else {
    return bytes;
  }
  if (bytes.size() % unitSize != 0) return std::nullopt;
  auto unitAt = [&](std::size_t at) {
    char32_t unit = 0;
    for (std::size_t i = 0; i < unitSize; ++i) {
      const std::size_t significance = bigEndian ? unitSize - 1 - i : i;
      unit |= static_cast<char32_t>(byte(at + i)) << (8 * significance);
    }
    return unit;
  };
  buffer.reserve(bytes.size());
  for (std::size_t at = 0; at < bytes.size(); at += unitSize) {
    char32_t scalar = unitAt(at);
    if (unitSize == 2 && scalar >= 0xD800 && scalar <= 0xDBFF && at + 2 < bytes.size()) {
      const char32_t low = unitAt(at + 2);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        scalar = 0x10000 + ((scalar - 0xD800) << 10) + (low - 0xDC00);
        at += 2;
      }
    }
    if ((scalar >= 0xD800 && scalar <= 0xDFFF) || scalar > 0x10FFFF) return std::nullopt;
    unicode::appendUTF8(buffer, scalar);
  }
  return buffer;
}

double preciseDouble(double parsed, std::string_view text) {
  double exact = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), exact);
  if (ec == std::errc() && end == text.data() + text.size()) return exact;
  // Out of range with a zero mantissa: a zero.
  if (std::isnan(parsed)) return text.starts_with('-') ? -0.0 : 0.0;
  // Otherwise out of range: Boost.JSON's infinity or zero stands.
  return parsed;
}

boost::json::parse_options jsonParseOptions() {
  boost::json::parse_options options;
  options.max_depth = kMaxCodingDepth;
  // Comments, trailing commas and invalid UTF-8 stay refused (the defaults).
  return options;
}

boost::json::value parseJSONPrecisely(std::string_view text,
                                      const boost::json::parse_options& options,
                                      boost::json::storage_ptr storage, std::size_t& consumed,
                                      boost::system::error_code& ec) {
  unsigned char scratch[4096];
  boost::json::basic_parser<PreciseHandler> parser(options, scratch, sizeof scratch);
  parser.handler().st.reset(std::move(storage));
  consumed = parser.write_some(false, text.data(), text.size(), ec);
  if (!ec && consumed < text.size()) ec = boost::json::error::extra_data;
  if (ec) return nullptr;
  return parser.handler().st.release();
}

}  // namespace zorlan::detail
