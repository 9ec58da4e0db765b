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

// JSON bytes in UTF-16 or UTF-32 converted to UTF-8 in `buffer`; UTF-8 bytes
// as they are. The form is told by a byte order mark (dropped) or else by
// the zero bytes among the first four, JSON text beginning with two ASCII
// characters: 00 00 00 xx and xx 00 00 00 are UTF-32, 00 xx and xx 00 are
// UTF-16, big- and little-endian. Absent for ill-formed UTF-16 or UTF-32 (a
// length that is not a whole number of code units, an unpaired surrogate, a
// value past U+10FFFF).
std::optional<std::string_view> asUTF8(std::string_view bytes, std::string& buffer) {
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

}  // namespace

boost::json::value JSONDecoder::parse(std::string_view bytes, boost::json::storage_ptr storage) {
  std::string converted;
  const std::optional<std::string_view> utf8 = asUTF8(bytes, converted);
  if (!utf8) throwNotJSON(std::make_error_code(std::errc::illegal_byte_sequence));
  const std::string_view text = *utf8;
  boost::json::parse_options options;
  options.max_depth = kMaxDepth;
  // Comments, trailing commas and invalid UTF-8 stay refused (the defaults).
  std::size_t consumed = 0;
  boost::system::error_code ec;
  boost::json::value value =
      detail::parseJSONPrecisely(text, options, std::move(storage), consumed, ec);
  if (ec) throwNotJSON(ec);
  return value;
}

}  // namespace zorlan
