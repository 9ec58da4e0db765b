// URLRoute: a deep-link route, the pattern the router matches URLs against
// plus fixed variables handed on with every match. Routes are shared by
// reference between the application and the router:
//
//   auto show = std::make_shared<URLRoute>("myapp://show/${id}",
//                                          URLRouteVariables{{"tab", "episodes"}});
//
// The pattern loses one trailing "/" ("a/b/" is stored as "a/b", "a//" as
// "a/"); the rest is as `URLRouteTokenizer` and `URLRouteMatcher` describe.
// Construction never fails: a pattern that cannot match anything makes a
// route that matches nothing. Immutable and thread-safe.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zorlan/Routing/URLRouteMatcher.hpp"
#include "zorlan/Routing/URLRouteTokenizer.hpp"

namespace zorlan {

class URLRoute {
 public:
  explicit URLRoute(std::string pattern, std::optional<URLRouteVariables> variables = std::nullopt);

  // The fixed variables (empty when none were given).
  const URLRouteVariables& variables() const noexcept { return variables_; }
  // The pattern without its trailing "/".
  const std::string& stringValue() const noexcept { return stringValue_; }
  const std::vector<URLRouteTokenizer::Token>& tokens() const noexcept { return matcher_.tokens(); }
  const URLRouteMatcher& matcher() const noexcept { return matcher_; }

 private:
  URLRouteVariables variables_;
  std::string stringValue_;
  URLRouteMatcher matcher_;
};

}  // namespace zorlan
