#include "zorlan/Coding/JSONDecoder.hpp"

#include <algorithm>
#include <boost/json/monotonic_resource.hpp>
#include <system_error>

#include "Coding/PreciseJSONParser.hpp"

namespace zorlan {

namespace detail {

boost::json::storage_ptr makeParseArena(std::size_t textSize) {
  // A tree takes roughly twice its text; start there to allocate once or twice.
  return boost::json::make_shared_resource<boost::json::monotonic_resource>(
      std::max<std::size_t>(1024, textSize * 2));
}

}  // namespace detail

boost::json::value JSONDecoder::parse(std::string_view text, boost::json::storage_ptr storage) {
  boost::json::parse_options options;
  options.max_depth = kMaxDepth;
  // Comments, trailing commas and invalid UTF-8 stay refused (the defaults).
  std::size_t consumed = 0;
  boost::system::error_code ec;
  boost::json::value value =
      detail::parseJSONPrecisely(text, options, std::move(storage), consumed, ec);
  if (ec) {
    throw DecodingError::dataCorrupted(
        {{}, "The given data was not valid JSON.", std::make_exception_ptr(std::system_error(ec))});
  }
  return value;
}

}  // namespace zorlan
