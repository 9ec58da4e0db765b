// Route patterns and URLs from arbitrary bytes: "PATTERN\nINPUT". The
// tokenizer's output keeps its invariants, and the matcher (with its prefix
// filter and anchored search) agrees with a plain ICU search of the whole
// input whenever that search finishes within the same limits.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/ReferenceRouteMatch.hpp"
#include "zorlan/Platform/URL.hpp"
#include "zorlan/Routing/URLRoute.hpp"
#include "zorlan/Routing/URLRouter.hpp"

namespace {

[[noreturn]] void fail(const char* what, const std::string& pattern, std::string_view input) {
  std::fprintf(stderr, "%s\npattern: %s\ninput: %.*s\n", what, pattern.c_str(),
               static_cast<int>(input.size()), input.data());
  std::abort();
}

bool isAsciiSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Token = zorlan::URLRouteTokenizer::Token;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::size_t split = bytes.find('\n');
  const std::string pattern(bytes.substr(0, split));
  const std::string_view input =
      split == std::string_view::npos ? std::string_view() : bytes.substr(split + 1);

  const zorlan::URLRoute route(pattern);
  const auto& tokens = route.tokens();
  for (const Token& token : tokens) {
    if (token.kind == Token::Kind::string && (token.text.empty() || isAsciiSpace(token.text[0]))) {
      fail("a literal token is empty or starts with white space", pattern, input);
    }
  }

  const auto matched = route.matcher().match(input);
  const auto reference = zorlan::testing::referenceRouteMatch(
      route.matcher().regex(), zorlan::testing::routeVariableNames(tokens), input, nullptr, true);
  if (!reference.limitExceeded && matched != reference.variables) {
    fail("the matcher and a plain search disagree", pattern, input);
  }

  if (const auto url = zorlan::URL::fromString(input)) {
    if (const auto form = zorlan::routingForm(*url)) (void)route.matcher().match(*form);
  }
  return 0;
}
