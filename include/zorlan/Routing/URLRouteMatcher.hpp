// URLRouteMatcher: the regular expression of a route's tokens and the match
// of a string against it, yielding the route's variables.
//
//   URLRouteMatcher m(URLRouteTokenizer("/s/${id}").tokens());
//   m.regex();            // "/s/([^/]+)"
//   m.match("/S/42");     // {{"id", "42"}}: letter case is ignored
//   m.match("/s/42/x");   // absent: the match must cover the whole input
//
// The expression is the tokens' texts concatenated: literal text as it
// stands, not escaped (a "." in a host name matches any character), a
// variable as "(" + its fragment or "[^/]+" + ")", a wildcard as ".*".
// Matching uses ICU regular expressions with case-insensitive matching: the
// first (leftmost) match must cover the whole input, otherwise there is no
// match. Captured values pair with the variable names by position, in token
// order; groups inside a variable's own fragment take positions too (the
// pattern "/x/${a:(b|c)}/${d}" gives d the inner group's capture), and a
// repeated name keeps the later value. Values are returned exactly as they
// appear in the input: no percent-decoding, no case folding.
//
// Literal start: when the expression begins with plain ASCII text (and "."),
// an input that is ASCII there and differs (ignoring letter case) is refused
// without running ICU; the verdict is the one ICU would give.
//
// Hostile input: the expression is compiled once, on first use; an
// expression that does not compile never matches. Each match runs under
// ICU's time limit and a bounded backtracking stack; a match that exceeds
// either is "no match". Input that is not valid UTF-8 never matches.
//
// Thread safety: a matcher is immutable after construction; `match` may run
// on any number of threads at once.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zorlan/Routing/URLRouteTokenizer.hpp"

namespace zorlan {

// A route's variables by name.
using URLRouteVariables = std::map<std::string, std::string, std::less<>>;

class URLRouteMatcher {
 public:
  explicit URLRouteMatcher(std::vector<URLRouteTokenizer::Token> tokens);
  ~URLRouteMatcher();
  URLRouteMatcher(URLRouteMatcher&&) noexcept;
  URLRouteMatcher& operator=(URLRouteMatcher&&) noexcept;

  const std::vector<URLRouteTokenizer::Token>& tokens() const noexcept { return tokens_; }
  // The regular-expression source (empty for no tokens), not anchored.
  const std::string& regex() const noexcept { return regex_; }
  // The variables' values by name (empty for a route without variables), or
  // absent when `input` does not match (a moved-from matcher matches
  // nothing). Throws only std::bad_alloc. Cost: a byte comparison for most
  // inputs a route cannot match (see the literal start above); one ICU match,
  // linear in the input for ordinary patterns and bounded by the limits above
  // for others, when it can.
  std::optional<URLRouteVariables> match(std::string_view input) const;

  // The compiled expression and its facts; private to the library.
  struct Compiled;

 private:
  std::vector<URLRouteTokenizer::Token> tokens_;
  std::string regex_;
  std::vector<std::string> names_;  // the variables' names, in token order
  std::unique_ptr<Compiled> compiled_;
};

}  // namespace zorlan
