// URLRouteTokenizer: splits a route pattern such as
// "myapp://show/${showId}/season/${n:[0-9]+}/*" into literal text, named
// variables (with an optional regular-expression fragment) and wildcards.
//
//   URLRouteTokenizer t("/s/${id}/*");
//   t.tokens();  // string "/s/", variable "id", string "/", wildcard
//
// The scan follows a few deliberate rules that routes rely on:
// - white space is skipped before each scanned piece, so no piece begins
//   with white space;
// - a pattern that begins with "${" (or is empty) has no tokens at all;
// - "${name:fragment}" splits at ":": the first part is the name, the second
//   the fragment, further parts are dropped; "${name}" has no fragment;
// - a variable written directly after another ("${a}${b}") ends the scan:
//   the second variable and everything after it are dropped;
// - a run of "*" in literal text is one wildcard.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zorlan {

class URLRouteTokenizer {
 public:
  // One piece of a pattern. Equal when the kind and every payload are equal.
  struct Token {
    enum class Kind { string, variable, wildcard };

    Kind kind = Kind::string;
    // The literal text (string) or the variable's name (variable); empty for
    // a wildcard.
    std::string text;
    // The variable's regular-expression fragment; absent means "[^/]+".
    // Always absent for the other kinds.
    std::optional<std::string> pattern;

    static Token string(std::string text) { return {Kind::string, std::move(text), std::nullopt}; }
    static Token variable(std::string name, std::optional<std::string> pattern = std::nullopt) {
      return {Kind::variable, std::move(name), std::move(pattern)};
    }
    static Token wildcard() { return {Kind::wildcard, {}, std::nullopt}; }

    friend bool operator==(const Token&, const Token&) = default;
  };

  // Tokenizes `pattern` (any bytes; never fails). The tokens are computed
  // once, here, and kept for the tokenizer's life.
  explicit URLRouteTokenizer(std::string pattern);

  const std::string& stringValue() const noexcept { return stringValue_; }
  const std::vector<Token>& tokens() const noexcept { return tokens_; }

 private:
  std::string stringValue_;
  std::vector<Token> tokens_;
};

// "string(/s/)", "variable(id)", "variable(n:[0-9]+)", "wildcard": for
// diagnostics and test failure messages.
std::string describe(const URLRouteTokenizer::Token& token);

}  // namespace zorlan
