// URL: a parsed URL reference (RFC 3986) as a value, with the accessors the
// library's routing, caching and coding use. Components beyond these come
// from the underlying Boost.URL view.
#pragma once

#include <boost/url/url.hpp>
#include <boost/url/url_view.hpp>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zorlan {

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
  explicit URL(boost::urls::url url) : url_(std::move(url)) {}
  boost::urls::url url_;
};

}  // namespace zorlan

template <>
struct std::hash<zorlan::URL> {
  std::size_t operator()(const zorlan::URL& url) const noexcept {
    return std::hash<std::string_view>()(url.absoluteString());
  }
};
