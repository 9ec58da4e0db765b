#include "zorlan/Routing/URLRoute.hpp"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <utility>

namespace zorlan {
namespace {

// True when the last character of `pattern` (a grapheme cluster) is "/"
// alone: a "/" after a prepended mark (an Arabic number sign, say) joins it.
bool endsWithSlash(const std::string& pattern) {
  if (pattern.empty() || pattern.back() != '/') return false;
  auto end = static_cast<std::int32_t>(pattern.size()) - 1;
  if (end == 0) return true;
  UChar32 before = 0;
  U8_PREV(reinterpret_cast<const std::uint8_t*>(pattern.data()), 0, end, before);
  return before < 0 || u_getIntPropertyValue(before, UCHAR_GRAPHEME_CLUSTER_BREAK) != U_GCB_PREPEND;
}

std::string withoutTrailingSlash(std::string pattern) {
  if (endsWithSlash(pattern)) pattern.pop_back();
  return pattern;
}

}  // namespace

URLRoute::URLRoute(std::string pattern, std::optional<URLRouteVariables> variables)
    : variables_(variables ? std::move(*variables) : URLRouteVariables{}),
      stringValue_(withoutTrailingSlash(std::move(pattern))),
      matcher_(URLRouteTokenizer(stringValue_).tokens()) {}

}  // namespace zorlan
