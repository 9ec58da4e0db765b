// zorlan/Platform/URL.hpp: URLs from text and paths, their parts, order and hashing.
#include <gtest/gtest.h>

#include <set>
#include <unordered_set>

#include "zorlan/Platform/URL.hpp"

namespace zorlan {
namespace {

TEST(URL, Components) {
  struct Case {
    const char* text;
    std::optional<std::string> scheme;
    std::optional<std::string> host;
    std::string path;
    bool isFile;
  };
  const Case cases[] = {
      {"https://example.com/a/b?x=1#top", "https", "example.com", "/a/b", false},
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
  for (const Case& c : cases) {
    std::optional<URL> url = URL::fromString(c.text);
    ASSERT_TRUE(url) << c.text;
    EXPECT_EQ(url->absoluteString(), c.text);
    EXPECT_EQ(url->scheme(), c.scheme) << c.text;
    EXPECT_EQ(url->host(), c.host) << c.text;
    EXPECT_EQ(url->path(), c.path) << c.text;
    EXPECT_EQ(url->isFileURL(), c.isFile) << c.text;
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
  for (const char* text : {"", "has space", "https://a/b c", "http://[::1", "100%", "https://h/%zz",
                           "a\tb", "https://h/\x01", "caf\xc3\xa9"}) {
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

}  // namespace
}  // namespace zorlan
