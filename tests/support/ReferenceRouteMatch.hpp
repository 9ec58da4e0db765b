// ReferenceRouteMatch: route matching done the plain way, for comparison with
// `URLRouteMatcher` in tests, benchmarks and the routing fuzz target: the
// expression compiled case-insensitively (once per call unless a compiled
// pattern is given), the first match searched anywhere in the input, then
// the whole-input check and the positional pairing of names and captures.
#pragma once

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zorlan/Routing/URLRouteMatcher.hpp"

namespace zorlan::testing {

struct ReferenceRouteResult {
  bool limitExceeded = false;  // ICU gave up (time or stack limit): no verdict
  std::optional<URLRouteVariables> variables;
};

// The variables' names of `tokens`, in order.
inline std::vector<std::string> routeVariableNames(
    const std::vector<URLRouteTokenizer::Token>& tokens) {
  std::vector<std::string> names;
  for (const auto& token : tokens) {
    if (token.kind == URLRouteTokenizer::Token::Kind::variable) names.push_back(token.text);
  }
  return names;
}

inline std::unique_ptr<icu::RegexPattern> compileRoutePattern(const std::string& regex) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError where{};
  std::unique_ptr<icu::RegexPattern> pattern(icu::RegexPattern::compile(
      icu::UnicodeString::fromUTF8(regex), UREGEX_CASE_INSENSITIVE, where, status));
  if (U_FAILURE(status)) pattern.reset();
  return pattern;
}

// `compiled` null: compiles `regex` for this call. `limited`: runs under
// the same time and stack limits as the library (for hostile inputs).
inline ReferenceRouteResult referenceRouteMatch(const std::string& regex,
                                                const std::vector<std::string>& names,
                                                std::string_view input,
                                                const icu::RegexPattern* compiled = nullptr,
                                                bool limited = false) {
  ReferenceRouteResult result;
  std::unique_ptr<icu::RegexPattern> own;
  if (!compiled) {
    own = compileRoutePattern(regex);
    compiled = own.get();
  }
  if (!compiled) return result;
  const icu::UnicodeString text = icu::UnicodeString::fromUTF8(input);
  std::string roundTrip;
  text.toUTF8String(roundTrip);
  if (roundTrip != input) return result;  // not valid UTF-8
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(text, status));
  if (limited) {
    matcher->setTimeLimit(200, status);
    matcher->setStackLimit(1 << 20, status);
  }
  const bool found = matcher->find(status);
  if (U_FAILURE(status)) {
    result.limitExceeded = true;
    return result;
  }
  if (!found) return result;
  const int32_t wholeStart = matcher->start(status);
  const int32_t wholeEnd = matcher->end(status);
  std::vector<std::string> captures;
  for (int32_t group = 0; group <= matcher->groupCount(); ++group) {
    const int32_t start = matcher->start(group, status);
    const int32_t end = matcher->end(group, status);
    if (start < 0) continue;
    std::string value;
    text.tempSubStringBetween(start, end).toUTF8String(value);
    if (start == wholeStart && end == wholeEnd) {
      if (value != input) return result;
    } else {
      captures.push_back(std::move(value));
    }
  }
  URLRouteVariables variables;
  if (!names.empty()) {
    if (captures.size() < names.size()) return result;
    for (std::size_t i = 0; i < names.size(); ++i)
      variables.insert_or_assign(names[i], captures[i]);
  }
  result.variables = std::move(variables);
  return result;
}

}  // namespace zorlan::testing
