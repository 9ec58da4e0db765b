// Route patterns: tokens, the regular expression, and matching.
#include <gtest/gtest.h>

#include <string>

#include "zorlan/Routing/URLRoute.hpp"

namespace zorlan {
namespace {

using Token = URLRouteTokenizer::Token;
using Tokens = std::vector<Token>;

std::string describeAll(const Tokens& tokens) {
  std::string out;
  for (const Token& token : tokens) out += describe(token) + " ";
  return out;
}

TEST(URLRouteTokenizer, SplitsPatternsAsTheScannerReadsThem) {
  const struct {
    std::string pattern;
    Tokens tokens;
  } cases[] = {
      {"/s/${id}", {Token::string("/s/"), Token::variable("id")}},
      {"/x/${a:(b|c)}/${d}",
       {Token::string("/x/"), Token::variable("a", "(b|c)"), Token::string("/"),
        Token::variable("d")}},
      // Only the first two parts of "name:fragment:..." count; an empty
      // fragment is still a fragment.
      {"/v/${a:b:c}", {Token::string("/v/"), Token::variable("a", "b")}},
      {"/v/${a:}", {Token::string("/v/"), Token::variable("a", "")}},
      // A pattern that begins with a variable (even after white space) has
      // no tokens; nor has the empty pattern.
      {"${id}/x", {}},
      {"  ${id}/x", {}},
      {"", {}},
      // A variable right after another ends the scan, as does one after white space only.
      {"/p/${a}${b}/q", {Token::string("/p/"), Token::variable("a")}},
      {"/p/${a} ${b}", {Token::string("/p/"), Token::variable("a")}},
      // Runs of "$", "{" and "}" around a variable are taken whole; an empty
      // variable leaves its "}" to the literal that follows.
      {"/q/$${{a}}}x", {Token::string("/q/$"), Token::variable("a"), Token::string("x")}},
      {"/e/${}/b", {Token::string("/e/"), Token::string("}/b")}},
      // Wildcards: a run of "*" is one; white space before each piece is
      // skipped, inside a piece kept (Unicode spaces included).
      {"/a/*", {Token::string("/a/"), Token::wildcard()}},
      {"**/a", {Token::wildcard(), Token::string("/a")}},
      {"a*b***c",
       {Token::string("a"), Token::wildcard(), Token::string("b"), Token::wildcard(),
        Token::string("c")}},
      {"a * b", {Token::string("a "), Token::wildcard(), Token::string("b")}},
      {"/a/* *", {Token::string("/a/"), Token::wildcard(), Token::wildcard()}},
      {"\u3000\t/w/${x}*", {Token::string("/w/"), Token::variable("x"), Token::wildcard()}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(describeAll(URLRouteTokenizer(c.pattern).tokens()), describeAll(c.tokens))
        << c.pattern;
    EXPECT_EQ(URLRouteTokenizer(c.pattern).tokens(), c.tokens) << c.pattern;
  }
}

TEST(URLRoute, DropsOneTrailingSlashAndBuildsTheExpression) {
  const struct {
    std::string pattern, stored, regex;
  } cases[] = {
      {"a/b/", "a/b", "a/b"},
      {"a//", "a/", "a/"},
      {"/", "", ""},
      {"/n\u0600/", "/n\u0600/", "/n\u0600/"},  // "/" after a prepended mark is part of it
      {"/s/${id}", "/s/${id}", "/s/([^/]+)"},
      {"/n/${n:[0-9]+}/", "/n/${n:[0-9]+}", "/n/([0-9]+)"},
      {"/a/**", "/a/**", "/a/.*"},
      {"host.tv/x", "host.tv/x", "host.tv/x"},
  };
  for (const auto& c : cases) {
    URLRoute route(c.pattern);
    EXPECT_EQ(route.stringValue(), c.stored) << c.pattern;
    EXPECT_EQ(route.matcher().regex(), c.regex) << c.pattern;
  }
}

TEST(URLRouteMatcher, MatchesTheWholeInputWithTheFirstMatch) {
  using V = URLRouteVariables;
  const struct {
    std::string pattern, input;
    std::optional<V> expected;
  } cases[] = {
      {"/s/${id}", "/S/42", V{{"id", "42"}}},  // letter case ignored, value as written
      {"/s/${id}", "/s/42/extra", std::nullopt},
      {"/s/${id}", "x/s/42", std::nullopt},  // a match later in the input does not count
      {"/s/${id}", "/s/%2Fa%20b", V{{"id", "%2Fa%20b"}}},           // not decoded
      {"host.tv/x", "hostXtv/x", V{}},                              // literal text is not escaped
      {"/x/${a:(b|c)}/${d}", "/x/b/z", V{{"a", "b"}, {"d", "b"}}},  // positional pairing
      {"/n/${n:[0-9]+}", "/n/12a", std::nullopt},
      {"/a/*", "/a/", V{}},
      {"/a/*", "/A/b/c?d", V{}},
      {"/a/${x:[0-9]*}", "/a/", V{{"x", ""}}},  // an empty capture is a value
      {"/${a}/${a}", "/1/2", V{{"a", "2"}}},    // a repeated name keeps the later value
      // The first match, not the longest: "1" wins over "12" and leaves "2".
      {"/a/${x:1|12}", "/a/12", std::nullopt},
      {"/a/${x:12|1}", "/a/12", V{{"x", "12"}}},
      // An alternative at the top level of the expression.
      {"/a|/b/${x}", "/b/7", V{{"x", "7"}}},
      {"/a|/b/${x}", "/a", std::nullopt},    // x took no part: names but no captures
      {"/ab?/${x}", "/a/1", V{{"x", "1"}}},  // a quantifier on the last literal
      // Groups spanning the whole match are not captures.
      {"(${x:.*})", "abc", std::nullopt},
      // Case-insensitive beyond ASCII: the Kelvin sign is a "k".
      {"/k/${x}", "/\u212A/1", V{{"x", "1"}}},
      {"/s/${id}", "/s/\xff", std::nullopt},  // not UTF-8
      {"/a/${x:[}", "/a/[", std::nullopt},    // the expression does not compile
      {"/", "", V{}},                         // the empty route matches only the empty input
      {"/", "x", std::nullopt},
  };
  for (const auto& c : cases) {
    URLRoute route(c.pattern);
    EXPECT_EQ(route.matcher().match(c.input), c.expected) << c.pattern << " on " << c.input;
  }
}

// Hostile patterns and inputs end as "no match", not as a crash or a hang.
TEST(URLRouteMatcher, GivesUpOnBacktrackingAndHugeInputs) {
  const std::string exponential = "/r/" + std::string(5000, 'a') + "c";
  EXPECT_EQ(URLRoute("/r/${x:(a+)+b}").matcher().match(exponential), std::nullopt);

  std::string deep = "/s/";
  for (int i = 0; i < 60000; ++i) deep += (i % 2 ? 'a' : 'b');
  EXPECT_EQ(URLRoute("/s/${x:(?:(a)|b)*}").matcher().match(deep), std::nullopt);  // stack limit

  const std::string huge = "https://h.tv/" + std::string(64 * 1024, '/');
  for (const char* pattern : {"https://h.tv/*", "https://h.tv/${a}/*", "*${a:(/*)*x}"}) {
    URLRoute route(pattern);
    (void)route.matcher().match(huge);  // any verdict, in bounded time
  }
  EXPECT_TRUE(URLRoute("https://h.tv/*").matcher().match(huge).has_value());
}

}  // namespace
}  // namespace zorlan
