#include "zorlan/JSON/JSONSerialization.hpp"

#include <cmath>
#include <string>
#include <system_error>

#include "Coding/PreciseJSONParser.hpp"
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
  std::size_t consumed = 0;
  boost::system::error_code ec;
  boost::json::value value = detail::parseJSONPrecisely(text, parseOptions, {}, consumed, ec);
  if (ec) {
    throw JSONReadingError(ec.message(), skipped + consumed,
                           std::make_exception_ptr(std::system_error(ec)));
  }
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
