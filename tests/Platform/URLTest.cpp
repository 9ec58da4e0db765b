// zorlan/Platform/URL.hpp: URLs from text and paths, their parts, order and
// hashing, typed query reads and the refresh date of files.
#include <gtest/gtest.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "Platform/ExtendedAttributes.hpp"
#include "zorlan/Platform/URL.hpp"

namespace zorlan {
namespace {

TEST(URL, Components) {
  using Text = std::optional<std::string>;
  // text, scheme, host, path, is a file URL
  const std::tuple<const char*, Text, Text, std::string, bool> cases[] = {
      {"https://example.com/", "https", "example.com", "/", false},
      {"https://example.com/dir/", "https", "example.com", "/dir", false},
      {"https://ex%41mple.com/a%20b", "https", "exAmple.com", "/a b", false},
      {"http://[::1]:8080/p", "http", "::1", "/p", false},
      {"http://user@host:99/p", "http", "host", "/p", false},
      {"file:///tmp/a%20b.txt", "file", std::nullopt, "/tmp/a b.txt", true},
      {"FILE:///tmp", "FILE", std::nullopt, "/tmp", true},
      {"myapp://home", "myapp", "home", "", false},
      {"mailto:someone@example.com", "mailto", std::nullopt, "someone@example.com", false},
      {"relative/path", std::nullopt, std::nullopt, "relative/path", false},
  };
  for (const auto& [text, scheme, host, path, isFile] : cases) {
    SCOPED_TRACE(text);
    std::optional<URL> url = URL::fromString(text);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->absoluteString(), text);
    EXPECT_EQ(url->scheme(), scheme);
    EXPECT_EQ(url->host(), host);
    EXPECT_EQ(url->path(), path);
    EXPECT_EQ(url->isFileURL(), isFile);
  }
  URL full = *URL::fromString("https://h:8443/p?q=a%20b&r#frag");
  EXPECT_EQ(full.port(), 8443);
  EXPECT_EQ(full.query(), "q=a%20b&r");
  EXPECT_EQ(full.fragment(), "frag");
  EXPECT_EQ(full.components().params().size(), 2u);
  URL bare = *URL::fromString("https://h/p");
  EXPECT_FALSE(bare.port());
  EXPECT_FALSE(bare.query());
  EXPECT_FALSE(bare.fragment());
  EXPECT_EQ(URL::fromString("https://h/?")->query(), "");
}

TEST(URL, RefusesTextThatIsNotAURL) {
  for (const char* text :
       {"", "has space", "https://a/b c", "http://[::1", "100%", "https://h/%zz", "a\tb",
        "https://h/\x01", "caf\xc3\xa9", "http://h:port/", "http://h:80x/"}) {
    EXPECT_FALSE(URL::fromString(text)) << text;
  }
}

TEST(URL, FileURLsFromPaths) {
  std::optional<URL> url = URL::fileURL("/tmp/my file#1.txt");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->absoluteString(), "file:///tmp/my%20file%231.txt");
  EXPECT_EQ(url->path(), "/tmp/my file#1.txt");
  EXPECT_FALSE(url->host());
  EXPECT_FALSE(URL::fileURL("relative/path"));
  EXPECT_EQ(URL::fileURL("/")->absoluteString(), "file:///");
}

TEST(URL, EqualityOrderAndHashFollowTheText) {
  URL a = *URL::fromString("https://a/x");
  URL a2 = *URL::fromString("https://a/x");
  URL b = *URL::fromString("https://b/x");
  EXPECT_EQ(a, a2);
  EXPECT_NE(a, *URL::fromString("https://a/x/"));
  EXPECT_NE(a, *URL::fromString("HTTPS://a/x"));
  EXPECT_LT(a, b);
  EXPECT_EQ((std::set<URL>{b, a, a2}).size(), 2u);
  EXPECT_EQ((std::unordered_set<URL>{a, a2, b}).size(), 2u);
}

TEST(URL, QueryValues) {
  constexpr auto none = std::nullopt;
  const double inf = std::numeric_limits<double>::infinity();
  // query, then the value read as text, integer, real and Boolean
  // clang-format off
  const std::tuple<const char*, std::optional<std::string>, std::optional<std::int64_t>,
                   std::optional<double>, std::optional<bool>> cases[] = {
      {"v=1&v=2", "1", 1, 1.0, none}, {"v", none, none, none, none}, {"v=", "", none, none, none},
      {"v=+7", "+7", 7, 7.0, none}, {"v=%2B7", "+7", 7, 7.0, none},
      {"v=9223372036854775807", "9223372036854775807", INT64_MAX, 0x1p63, none},
      {"v=-9223372036854775808", "-9223372036854775808", INT64_MIN, -0x1p63, none},
      {"v=9223372036854775808", "9223372036854775808", none, 0x1p63, none},
      {"v=%2042", " 42", none, none, none}, {"v=4.2", "4.2", none, 4.2, none},
      {"v=0x1p3", "0x1p3", none, 8.0, none}, {"v=1e999", "1e999", none, inf, none},
      {"v=1,5", "1,5", none, none, none}, {"v=true", "true", none, none, true},
      {"v=false", "false", none, none, false}, {"v=TRUE", "TRUE", none, none, none},
      {"v=a%20b+c%26d=e", "a b+c&d=e", none, none, none},
      {"V=1&vv=2&v%3D=3&%76=4", "4", 4, 4.0, none}, {"w=1", none, none, none, none}
  };
  // clang-format on
  for (const auto& [query, text, integer, real, boolean] : cases) {
    SCOPED_TRACE(query);
    URL url = *URL::fromString(std::string("https://h/p?") + query + "#v=9");
    EXPECT_EQ(url.queryValue("v"), text);
    EXPECT_EQ(url.queryValue<std::int64_t>("v"), integer);
    EXPECT_EQ(url.queryValue<double>("v"), real);
    EXPECT_EQ(url.queryValue<bool>("v"), boolean);
  }
  // strtod stops at a NUL byte short of the value's end.
  EXPECT_FALSE(URL::fromString("https://h/?v=1%005")->queryValue<double>("v"));
  URL flag = *URL::fromString("myapp://x?flag&a%20b=c%2Bd");
  EXPECT_EQ(flag.queryItem("flag"), (URLQueryItem{"flag", none}));
  EXPECT_EQ(flag.queryItem("a b"), (URLQueryItem{"a b", "c+d"}));
  EXPECT_TRUE(flag.hasParameter("flag"));
  for (const char* text : {"https://h/p", "https://h/p?", "https://h/p#v=1", "https://h/?w"}) {
    EXPECT_FALSE(URL::fromString(text)->hasParameter("v")) << text;
  }
}

TEST(URL, FromUnencodedString) {
  const std::pair<const char*, const char*> encoded[] = {
      {"https://h/a b?q=x y#top", "https://h/a%20b?q=x%20y#top"},
      {"https://h/caf\xc3\xa9?n=\xc3\xa9", "https://h/caf%C3%A9?n=%C3%A9"},
      {"https://h/100%?a=[1]&b={\"c\"}", "https://h/100%25?a=%5B1%5D&b=%7B%22c%22%7D"},
      {"myapp://x/y?a=1&b=$,;:@/?#f/?", "myapp://x/y?a=1&b=$,;:@/?#f/?"},
  };
  for (const auto& [text, expected] : encoded) {
    std::optional<URL> url = URL::fromUnencodedString(text);
    EXPECT_EQ(url ? url->absoluteString() : "(absent)", expected);
  }
  for (const char* text : {"", "a#b#c", "://host", "1x:y"}) {
    EXPECT_FALSE(URL::fromUnencodedString(text)) << text;
  }
}

constexpr const char* kAttribute = "user.com.corvath.cache.disk.permanent.refreshDate";

// Real files in a fresh directory; writes and removals of attributes are
// counted through the library's table of calls.
class URLRefreshDate : public testing::Test {
 protected:
  static inline int writes = 0;
  static inline detail::ExtendedAttributeCalls real{};

  void SetUp() override {
    directory_ =
        std::filesystem::temp_directory_path() / ("zorlan-url-" + std::to_string(getpid()));
    std::filesystem::create_directories(directory_);
    path_ = (directory_ / "cached file").string();
    std::ofstream(path_) << "x";
    if (setxattr(path_.c_str(), "user.zorlan.probe", "1", 1, 0) != 0) {
      GTEST_SKIP() << directory_ << " refuses user extended attributes (errno " << errno << ")";
    }
    real = detail::extendedAttributeCalls();
    detail::extendedAttributeCalls().set = [](const char* p, const char* n, const void* v,
                                              std::size_t s,
                                              int f) { return ++writes, real.set(p, n, v, s, f); };
    detail::extendedAttributeCalls().remove = [](const char* p, const char* n) {
      return ++writes, real.remove(p, n);
    };
  }
  void TearDown() override {
    if (real.get != nullptr) detail::extendedAttributeCalls() = std::exchange(real, {});
    std::filesystem::remove_all(directory_);
  }

  std::filesystem::path directory_;
  std::string path_;
};

TEST_F(URLRefreshDate, OnAFile) {
  URL file = *URL::fileURL(path_);
  EXPECT_FALSE(file.needsRefresh());
  file.setLifetime(-1);
  EXPECT_TRUE(file.needsRefresh());
  file.setLifetime(3600);
  EXPECT_FALSE(file.needsRefresh());

  const Date date = Date::fromTimeIntervalSince1970(1'700'000'000.5);
  writes = 0;
  file.setRefreshDate(date);
  file.setRefreshDate(date);
  EXPECT_EQ(writes, 1);
  double stored = 0;
  EXPECT_EQ(getxattr(path_.c_str(), kAttribute, &stored, sizeof stored), 8);
  EXPECT_EQ(stored, 1'700'000'000.5);
  EXPECT_EQ(file.refreshDate(), date);

  file.setLifetime(std::nullopt);
  file.setLifetime(std::nullopt);
  EXPECT_EQ(writes, 2);
  EXPECT_LT(getxattr(path_.c_str(), kAttribute, nullptr, 0), 0);
}

TEST_F(URLRefreshDate, LinksOtherSchemesAndOddValues) {
  std::filesystem::create_symlink(path_, directory_ / "link");
  URL::fileURL((directory_ / "link").string())->setLifetime(-60);
  EXPECT_TRUE(URL::fileURL(path_)->needsRefresh());
  URL web =
      *URL::fromString("https://h" + std::string(URL::fileURL(path_)->components().encoded_path()));
  EXPECT_TRUE(web.refreshDate());
  EXPECT_FALSE(web.needsRefresh());

  for (std::size_t size : {4, 16}) {
    setxattr(path_.c_str(), kAttribute, "0123456789abcdef", size, 0);
    EXPECT_FALSE(URL::fileURL(path_)->refreshDate()) << size;
  }
  // "%00" cuts the path short at the directory, which is left alone.
  URL::fromString(std::string(URL::fileURL(directory_.string())->absoluteString()) + "%00x")
      ->setLifetime(1);
  EXPECT_FALSE(URL::fileURL(directory_.string())->refreshDate());
}

TEST(URL, RefreshDateWhereUserAttributesAreRefused) {
  static int writes = 0;
  detail::ExtendedAttributeCalls saved = std::exchange(
      detail::extendedAttributeCalls(),
      {[](const char*, const char*, void*, std::size_t) -> ssize_t { return errno = ENOTSUP, -1; },
       [](const char*, const char*, const void*, std::size_t, int) { return ++writes, -1; },
       [](const char*, const char*) { return ++writes, -1; }});
  URL file = *URL::fileURL("/tmp/anything");
  file.setLifetime(-1);
  EXPECT_EQ(writes, 1);
  EXPECT_FALSE(file.refreshDate());
  EXPECT_FALSE(file.needsRefresh());
  detail::extendedAttributeCalls() = saved;
}

}  // namespace
}  // namespace zorlan
