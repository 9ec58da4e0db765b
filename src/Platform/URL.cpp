#include "zorlan/Platform/URL.hpp"

#include <boost/url/encode.hpp>
#include <boost/url/grammar/ci_string.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/rfc/pchars.hpp>

namespace zorlan {

std::optional<URL> URL::fromString(std::string_view text) {
  if (text.empty()) return std::nullopt;
  auto parsed = boost::urls::parse_uri_reference(text);
  if (!parsed) return std::nullopt;
  return URL(boost::urls::url(*parsed));
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

}  // namespace zorlan
