#include "zorlan/Platform/URL.hpp"

#include <boost/url/encode.hpp>
#include <boost/url/grammar/ci_string.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/rfc/pchars.hpp>
#include <clocale>
#include <cstdlib>
#include <cstring>

#include "zorlan/Platform/IntegerParsing.hpp"

namespace zorlan {

namespace {

int hexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads one character of percent-encoded text at `i`, moving `i` past it:
// "%XX" gives its byte, anything else (a "+" too) stands for itself. The
// parser lets no malformed "%" through; one would stand for itself here.
char decodeAt(std::string_view text, std::size_t& i) noexcept {
  if (text[i] == '%' && i + 2 < text.size()) {
    int high = hexValue(text[i + 1]);
    int low = hexValue(text[i + 2]);
    if (high >= 0 && low >= 0) {
      i += 3;
      return static_cast<char>(high * 16 + low);
    }
  }
  return text[i++];
}

std::string decode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) decoded += decodeAt(text, i);
  return decoded;
}

// True when `encoded` decodes to exactly `name`, without decoding it whole.
bool decodesTo(std::string_view encoded, std::string_view name) noexcept {
  if (encoded.size() < name.size()) return false;
  std::size_t j = 0;
  for (std::size_t i = 0; i < encoded.size(); ++j) {
    if (j == name.size() || decodeAt(encoded, i) != name[j]) return false;
  }
  return j == name.size();
}

// Holds a value's decoded text only when it needs decoding; otherwise views
// the encoded text, so plain values are read without allocating.
class DecodedValue {
 public:
  explicit DecodedValue(std::string_view encoded) {
    if (encoded.find('%') == std::string_view::npos) {
      text_ = encoded;
    } else {
      storage_ = decode(encoded);
      text_ = storage_;
    }
  }
  std::string_view text() const noexcept { return text_; }

 private:
  std::string storage_;
  std::string_view text_;
};

std::optional<double> parseDouble(std::string_view text) {
  // strtod would skip leading white space (" \t\n\v\f\r"); it is refused
  // here, as is a leading NUL byte (strchr finds the terminator).
  if (text.empty() || std::strchr(" \t\n\v\f\r", text.front()) != nullptr) return std::nullopt;
  // strtod needs a terminated string: short values are copied to the stack.
  char small[64];
  std::string large;
  const char* start = small;
  if (text.size() < sizeof small) {
    std::memcpy(small, text.data(), text.size());
    small[text.size()] = '\0';
  } else {
    large = text;
    start = large.c_str();
  }
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t{});
  if (cLocale == locale_t{}) return std::nullopt;
  char* end = nullptr;
  double value = strtod_l(start, &end, cLocale);
  // A NUL byte inside the value ("%00") stops the conversion short of its end.
  if (end != start + text.size()) return std::nullopt;
  return value;
}

}  // namespace

std::optional<URL> URL::fromString(std::string_view text) {
  if (text.empty()) return std::nullopt;
  auto parsed = boost::urls::parse_uri_reference(text);
  if (!parsed) return std::nullopt;
  // After an authority the path must be empty or start with "/" (RFC 3986).
  // Boost.URL 1.81 ends a port at its last digit and takes the rest as a
  // path ("http://h:80x/" as port 80, path "x/"), so that is refused here.
  std::string_view path = parsed->encoded_path();
  if (parsed->has_authority() && !path.empty() && path.front() != '/') return std::nullopt;
  return URL(boost::urls::url(*parsed));
}

std::optional<URL> URL::fromUnencodedString(std::string_view text) {
  static constexpr auto kKept = boost::urls::pchars + '/' + '?' + '#';
  return fromString(boost::urls::encode(text, kKept));
}

std::optional<URL> URL::fileURL(std::string_view path) {
  if (path.empty() || path.front() != '/') return std::nullopt;
  // "/" separates segments and stays as is; everything outside the path
  // characters is percent-encoded.
  std::string encoded = "file://";
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t slash = path.find('/', start);
    std::size_t end = slash == std::string_view::npos ? path.size() : slash;
    encoded += boost::urls::encode(path.substr(start, end - start), boost::urls::pchars);
    if (slash == std::string_view::npos) break;
    encoded += '/';
    start = slash + 1;
  }
  return fromString(encoded);
}

std::optional<std::string> URL::scheme() const {
  if (!url_.has_scheme()) return std::nullopt;
  return std::string(url_.scheme());
}

bool URL::isFileURL() const noexcept {
  return url_.has_scheme() && boost::urls::grammar::ci_is_equal(url_.scheme(), "file");
}

std::optional<std::string> URL::host() const {
  if (!url_.has_authority() || url_.encoded_host().empty()) return std::nullopt;
  return url_.host_address();
}

std::optional<std::uint16_t> URL::port() const {
  if (!url_.has_port() || url_.port().empty()) return std::nullopt;
  std::uint32_t value = 0;
  for (char c : url_.port()) {
    value = value * 10 + static_cast<std::uint32_t>(c - '0');
    if (value > 65535) return std::nullopt;
  }
  return static_cast<std::uint16_t>(value);
}

std::string URL::path() const {
  std::string decoded = url_.path();
  if (decoded.size() > 1 && decoded.back() == '/') decoded.pop_back();
  return decoded;
}

std::optional<std::string> URL::query() const {
  if (!url_.has_query()) return std::nullopt;
  return std::string(url_.encoded_query());
}

std::optional<std::string> URL::fragment() const {
  if (!url_.has_fragment()) return std::nullopt;
  return std::string(url_.encoded_fragment());
}

URL::Parameter URL::findParameter(std::string_view name) const noexcept {
  if (!url_.has_query()) return {};
  std::string_view query = url_.encoded_query();
  if (query.empty()) return {};
  std::size_t start = 0;
  while (true) {
    std::size_t end = query.find('&', start);
    std::string_view item = query.substr(start, end == std::string_view::npos ? end : end - start);
    std::size_t equals = item.find('=');
    if (decodesTo(item.substr(0, equals), name)) {
      if (equals == std::string_view::npos) return {true, false, {}};
      return {true, true, item.substr(equals + 1)};
    }
    if (end == std::string_view::npos) return {};
    start = end + 1;
  }
}

std::optional<URLQueryItem> URL::queryItem(std::string_view name) const {
  Parameter parameter = findParameter(name);
  if (!parameter.found) return std::nullopt;
  URLQueryItem item{std::string(name), std::nullopt};
  if (parameter.hasValue) item.value = decode(parameter.encodedValue);
  return item;
}

template <>
std::optional<std::string> URL::queryValue<std::string>(std::string_view name) const {
  Parameter parameter = findParameter(name);
  if (!parameter.hasValue) return std::nullopt;
  return decode(parameter.encodedValue);
}

template <>
std::optional<std::int64_t> URL::queryValue<std::int64_t>(std::string_view name) const {
  Parameter parameter = findParameter(name);
  if (!parameter.hasValue) return std::nullopt;
  return parseInt64(DecodedValue(parameter.encodedValue).text());
}

template <>
std::optional<double> URL::queryValue<double>(std::string_view name) const {
  Parameter parameter = findParameter(name);
  if (!parameter.hasValue) return std::nullopt;
  return parseDouble(DecodedValue(parameter.encodedValue).text());
}

template <>
std::optional<bool> URL::queryValue<bool>(std::string_view name) const {
  Parameter parameter = findParameter(name);
  if (!parameter.hasValue) return std::nullopt;
  DecodedValue value(parameter.encodedValue);
  if (value.text() == "true") return true;
  if (value.text() == "false") return false;
  return std::nullopt;
}

}  // namespace zorlan
