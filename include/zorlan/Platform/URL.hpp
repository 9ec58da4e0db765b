// URL: a parsed URL reference (RFC 3986) as a value, with the accessors the
// library's routing, caching and coding use, typed reads of query parameters
// and the refresh date of the file a file URL names. Components beyond these
// come from the underlying Boost.URL view.
//
//   URL link = *URL::fromString("myapp://play?id=42&hd=true");
//   std::optional<std::int64_t> id = link.queryValue<std::int64_t>("id");  // 42
//   URL cached = *URL::fileURL("/var/cache/app/poster.jpg");
//   cached.setLifetime(3600);        // fresh for an hour
//   if (cached.needsRefresh()) ...   // once the hour has passed
#pragma once

#include <boost/url/url.hpp>
#include <boost/url/url_view.hpp>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "zorlan/Platform/Date.hpp"

namespace zorlan {

// One parameter of a query: the percent-decoded text before the first "=" and
// after it, the value absent for a bare name without "=". "+" stays "+".
struct URLQueryItem {
  std::string name;
  std::optional<std::string> value;

  friend bool operator==(const URLQueryItem&, const URLQueryItem&) = default;
};

class URL {
 public:
  // Parses `text` as an absolute URL or a relative reference. Absent for the
  // empty string and for text that is not a URI reference (white space,
  // stray "%", characters outside the grammar). Never throws.
  static std::optional<URL> fromString(std::string_view text);

  // A file URL for an absolute file-system path ("file:///tmp/a%20b"); the
  // path is percent-encoded as needed. Absent when `path` is not absolute.
  static std::optional<URL> fileURL(std::string_view path);

  // The text the URL was made from.
  std::string_view absoluteString() const noexcept { return url_.buffer(); }

  // The scheme ("https", "file"), absent for a relative reference.
  std::optional<std::string> scheme() const;
  // True when the scheme is "file" (in any letter case).
  bool isFileURL() const noexcept;
  // The percent-decoded host, without brackets for an IP literal; absent
  // when there is no authority or its host is empty.
  std::optional<std::string> host() const;
  // The port, when one is written.
  std::optional<std::uint16_t> port() const;
  // The percent-decoded path; a trailing "/" is dropped unless the path is
  // "/" itself ("https://a/b/" gives "/b", "https://a" gives "").
  std::string path() const;
  // The query without "?" (still percent-encoded), absent when there is none.
  std::optional<std::string> query() const;
  // The fragment without "#" (still percent-encoded), absent when there is none.
  std::optional<std::string> fragment() const;

  // Like fromString, for text that is not percent-encoded yet: every byte
  // outside the characters a fragment may hold (unreserved, sub-delims, ":",
  // "@", "/", "?") and "#" is percent-encoded first, "%" included, so spaces
  // and non-ASCII text are allowed while "?" and "#" still start the query
  // and the fragment. Absent when the result is not a URL reference.
  static std::optional<URL> fromUnencodedString(std::string_view text);

  // Query parameters. Names are compared exactly, after percent-decoding;
  // when a name repeats, the first item wins.
  //
  // The first item named `name`; absent without a query or such an item.
  std::optional<URLQueryItem> queryItem(std::string_view name) const;
  // True when queryItem(name) finds an item, with or without a value.
  bool hasParameter(std::string_view name) const { return findParameter(name).found; }
  // The item's value read as T, absent when the item or its value is absent
  // or the value does not read as T:
  // - std::string: the decoded value as it stands.
  // - std::int64_t: an optional "+" or "-" and decimal digits, nothing else,
  //   within the 64-bit range.
  // - double: the C-locale text-to-double conversion (as strtod: decimal and
  //   hexadecimal forms, "inf", "infinity", "nan", a leading "+"), which must
  //   use up the whole value; leading white space is refused, as for
  //   integers; a value too large gives infinity.
  // - bool: exactly "true" or "false".
  template <class T = std::string>
  std::optional<T> queryValue(std::string_view name) const;

  // The refresh date of the file at this URL's path, kept in the extended
  // attribute "user.com.corvath.cache.disk.permanent.refreshDate" (8 bytes,
  // a native-order double of seconds since 1970); symbolic links are
  // followed. Absent when the file has none or it cannot be read.
  std::optional<Date> refreshDate() const;
  // Writes the refresh date (absent removes it). An unchanged date is not
  // rewritten; failures (no file, a file system without user attributes)
  // leave the file as it was, silently.
  void setRefreshDate(std::optional<Date> date) const;
  // Sets the refresh date to now plus `seconds` (absent removes it).
  void setLifetime(std::optional<double> seconds) const;
  // True for a file URL whose refresh date lies strictly before now.
  bool needsRefresh() const;

  // The parsed components (Boost.URL), valid as long as this URL lives.
  boost::urls::url_view components() const noexcept { return url_; }

  // URLs are equal when their texts are equal; ordered by text.
  friend bool operator==(const URL& a, const URL& b) noexcept {
    return a.absoluteString() == b.absoluteString();
  }
  friend std::strong_ordering operator<=>(const URL& a, const URL& b) noexcept {
    return a.absoluteString().compare(b.absoluteString()) <=> 0;
  }

 private:
  // The first item named `name` in the encoded query; its value still encoded.
  struct Parameter {
    bool found = false;
    bool hasValue = false;
    std::string_view encodedValue;
  };
  Parameter findParameter(std::string_view name) const noexcept;

  explicit URL(boost::urls::url url) : url_(std::move(url)) {}
  boost::urls::url url_;
};

template <class T>
std::optional<T> URL::queryValue(std::string_view) const {
  static_assert(sizeof(T) == 0, "URL::queryValue reads std::string, std::int64_t, double or bool");
  return std::nullopt;
}
template <>
std::optional<std::string> URL::queryValue<std::string>(std::string_view name) const;
template <>
std::optional<std::int64_t> URL::queryValue<std::int64_t>(std::string_view name) const;
template <>
std::optional<double> URL::queryValue<double>(std::string_view name) const;
template <>
std::optional<bool> URL::queryValue<bool>(std::string_view name) const;

}  // namespace zorlan

template <>
struct std::hash<zorlan::URL> {
  std::size_t operator()(const zorlan::URL& url) const noexcept {
    return std::hash<std::string_view>()(url.absoluteString());
  }
};
