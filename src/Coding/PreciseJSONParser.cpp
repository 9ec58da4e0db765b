#include "Coding/PreciseJSONParser.hpp"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>

#include <charconv>
#include <cmath>
#include <string>

namespace zorlan::detail {
namespace {

// Builds the value as Boost.JSON's own parser does, but reads every
// non-integer number from its text with std::from_chars, correctly rounded.
// Boost.JSON 1.81 rounds some numbers to a neighbouring double (text the
// writer printed would not read back exactly) and reads a zero with an
// exponent past the range of double ("0e400") as NaN.
struct PreciseHandler {
  static constexpr std::size_t max_object_size = boost::json::object::max_size();
  static constexpr std::size_t max_array_size = boost::json::array::max_size();
  static constexpr std::size_t max_key_size = boost::json::string::max_size();
  static constexpr std::size_t max_string_size = boost::json::string::max_size();

  using ec_t = boost::system::error_code;
  using sv_t = boost::json::string_view;

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
    // "-0" is the text of the double -0.0: keep its sign.
    const bool negativeZero = i == 0 && (number.empty() ? s.starts_with('-') : number[0] == '-');
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
    double exact = 0;
    auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), exact);
    if (ec == std::errc() && end == number.data() + number.size()) {
      d = exact;
    } else if (std::isnan(d)) {
      // Out of range with a zero mantissa: a zero.
      d = number.starts_with('-') ? -0.0 : 0.0;
    }
    // Otherwise out of range: Boost.JSON's infinity or zero stands.
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
