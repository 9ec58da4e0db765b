#include "zorlan/Coding/JSONDecoder.hpp"

#include <algorithm>
#include <boost/json/monotonic_resource.hpp>
#include <optional>
#include <string>
#include <system_error>

#include "Coding/PreciseJSONParser.hpp"
#include "zorlan/Platform/Unicode.hpp"

namespace zorlan {

namespace detail {

boost::json::storage_ptr makeParseArena(std::size_t textSize) {
  // A tree takes roughly twice its text; start there to allocate once or twice.
  return boost::json::make_shared_resource<boost::json::monotonic_resource>(
      std::max<std::size_t>(1024, textSize * 2));
}

}  // namespace detail

namespace {

[[noreturn]] void throwNotJSON(std::error_code ec) {
  throw DecodingError::dataCorrupted(
      {{}, "The given data was not valid JSON.", std::make_exception_ptr(std::system_error(ec))});
}

}  // namespace

boost::json::value JSONDecoder::parse(std::string_view bytes, boost::json::storage_ptr storage) {
  std::string converted;
  const std::optional<std::string_view> utf8 = detail::jsonBytesAsUTF8(bytes, converted);
  if (!utf8) throwNotJSON(std::make_error_code(std::errc::illegal_byte_sequence));
  const std::string_view text = *utf8;
  const boost::json::parse_options options = detail::jsonParseOptions();
  std::size_t consumed = 0;
  boost::system::error_code ec;
  boost::json::value value =
      detail::parseJSONPrecisely(text, options, std::move(storage), consumed, ec);
  if (ec) throwNotJSON(ec);
  return value;
}

}  // namespace zorlan
