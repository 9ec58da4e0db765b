#include "zorlan/Routing/URLRoute.hpp"

#include <utility>

namespace zorlan {
namespace {

std::string withoutTrailingSlash(std::string pattern) {
  if (!pattern.empty() && pattern.back() == '/') pattern.pop_back();
  return pattern;
}

}  // namespace

URLRoute::URLRoute(std::string pattern, std::optional<URLRouteVariables> variables)
    : variables_(variables ? std::move(*variables) : URLRouteVariables{}),
      stringValue_(withoutTrailingSlash(std::move(pattern))),
      matcher_(URLRouteTokenizer(stringValue_).tokens()) {}

}  // namespace zorlan
