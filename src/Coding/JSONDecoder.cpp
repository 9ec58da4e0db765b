#include "zorlan/Coding/JSONDecoder.hpp"

#include <boost/json/parser.hpp>
#include <system_error>

namespace zorlan {

boost::json::value JSONDecoder::parse(std::string_view text) {
  boost::json::parse_options options;
  options.max_depth = kMaxDepth;
  boost::json::parser parser({}, options);
  boost::system::error_code ec;
  parser.write(text.data(), text.size(), ec);
  if (ec) {
    throw DecodingError::dataCorrupted(
        {{}, "The given data was not valid JSON.", std::make_exception_ptr(std::system_error(ec))});
  }
  return parser.release();
}

}  // namespace zorlan
