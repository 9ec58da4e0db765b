#include "zorlan/JSON/JSONSerialization.hpp"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>
#include <charconv>
#include <cmath>
#include <string>
#include <system_error>

#include "zorlan/Coding/CodingError.hpp"

namespace zorlan {

namespace {

// Refuses numbers that JSON text cannot hold, which the writer would turn into
// null. Stops descending past the depth the writer refuses anyway.
void checkFinite(const boost::json::value& value, std::size_t depth) {
  switch (value.kind()) {
    case boost::json::kind::double_: {
      double d = value.get_double();
      if (!std::isfinite(d)) {
        throw EncodingError::invalidValue(
            std::isnan(d) ? "nan" : (d > 0 ? "inf" : "-inf"),
            {{}, "Unable to write a number that is not finite as JSON text.", nullptr});
      }
      return;
    }
    case boost::json::kind::array:
      if (depth >= kMaxCodingDepth) return;
      for (const auto& element : value.get_array()) checkFinite(element, depth + 1);
      return;
    case boost::json::kind::object:
      if (depth >= kMaxCodingDepth) return;
      for (const auto& member : value.get_object()) checkFinite(member.value(), depth + 1);
      return;
    default:
      return;
  }
}

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
  bool on_int64(std::int64_t i, sv_t, ec_t&) {
    number.clear();
    st.push_int64(i);
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

const char* JSONSerializationError::what() const noexcept {
  switch (code_) {
    case Code::returnTypeNotJSON:
      return "JSONSerializationError.returnTypeNotJSON";
  }
  return "JSONSerializationError";
}

JSONReadingError::JSONReadingError(std::string reason, std::size_t offset,
                                   std::exception_ptr underlying)
    : reason_(std::move(reason)),
      offset_(offset),
      underlying_(std::move(underlying)),
      description_("The data couldn't be read because it isn't in the correct format. " + reason_ +
                   " around byte " + std::to_string(offset_) + ".") {}

std::vector<std::exception_ptr> JSONReadingError::underlyingErrors() const {
  if (!underlying_) return {};
  return {underlying_};
}

boost::json::value JSONSerialization::jsonObject(std::string_view text,
                                                 const JSONReadingOptions& options) {
  std::size_t skipped = 0;
  if (text.starts_with("\xEF\xBB\xBF")) {
    skipped = 3;
    text.remove_prefix(3);
  }
  boost::json::parse_options parseOptions;
  parseOptions.max_depth = kMaxCodingDepth;
  parseOptions.allow_comments = options.allowComments;
  parseOptions.allow_trailing_commas = options.allowTrailingCommas;
  boost::json::basic_parser<PreciseHandler> parser(parseOptions);
  parser.handler().st.reset();
  boost::system::error_code ec;
  std::size_t consumed = parser.write_some(false, text.data(), text.size(), ec);
  if (!ec && consumed < text.size()) ec = boost::json::error::extra_data;
  if (ec) {
    throw JSONReadingError(ec.message(), skipped + consumed,
                           std::make_exception_ptr(std::system_error(ec)));
  }
  boost::json::value value = parser.handler().st.release();
  if (!options.fragmentsAllowed && !value.is_object() && !value.is_array()) {
    throw JSONReadingError(
        "JSON text did not start with array or object and option to allow fragments not set.",
        skipped, nullptr);
  }
  return value;
}

boost::json::value JSONSerialization::jsonObject(const Data& data,
                                                 const JSONReadingOptions& options) {
  const auto& bytes = data.bytes();
  return jsonObject(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
                    options);
}

JSONDictionary JSONSerialization::json(std::string_view with, const JSONReadingOptions& options) {
  boost::json::value value = jsonObject(with, options);
  if (!value.is_object()) throw JSONSerializationError::returnTypeNotJSON();
  return std::move(value.get_object());
}

JSONDictionary JSONSerialization::json(const Data& with, const JSONReadingOptions& options) {
  boost::json::value value = jsonObject(with, options);
  if (!value.is_object()) throw JSONSerializationError::returnTypeNotJSON();
  return std::move(value.get_object());
}

std::string JSONSerialization::string(const boost::json::value& value,
                                      const JSONWritingOptions& options) {
  checkFinite(value, 0);
  return writeJSON(value, options);
}

}  // namespace zorlan
