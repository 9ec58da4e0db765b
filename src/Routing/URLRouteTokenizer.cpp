#include "zorlan/Routing/URLRouteTokenizer.hpp"

#include <unicode/utf8.h>

#include <cstdint>
#include <string_view>
#include <utility>

#include "zorlan/Platform/Unicode.hpp"

namespace zorlan {
namespace {

// A forward scanner over the pattern's bytes. Every scan first skips white
// space and line breaks; a scan that takes nothing reports absent (or false).
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  // The text up to (not including) `stop`, or to the end when `stop` does
  // not occur; absent when that is nothing.
  std::optional<std::string_view> scanUpTo(std::string_view stop) {
    skipWhiteSpace();
    std::size_t end = text_.find(stop, position_);
    if (end == std::string_view::npos) end = text_.size();
    if (end == position_) return std::nullopt;
    std::string_view scanned = text_.substr(position_, end - position_);
    position_ = end;
    return scanned;
  }

  // Takes a run of the bytes in `set` (ASCII only); false when there is none.
  bool scanRun(std::string_view set) {
    skipWhiteSpace();
    const std::size_t start = position_;
    while (position_ < text_.size() && set.find(text_[position_]) != std::string_view::npos) {
      ++position_;
    }
    return position_ != start;
  }

 private:
  void skipWhiteSpace() {
    while (position_ < text_.size()) {
      std::int32_t next = static_cast<std::int32_t>(position_);
      UChar32 c = 0;
      U8_NEXT(reinterpret_cast<const std::uint8_t*>(text_.data()), next,
              static_cast<std::int32_t>(text_.size()), c);
      if (c < 0 || !unicode::isWhitespaceOrNewline(static_cast<char32_t>(c))) return;
      position_ = static_cast<std::size_t>(next);
    }
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

using Token = URLRouteTokenizer::Token;

// Variables split off; literal text still holds its asterisks.
std::vector<Token> splitVariables(std::string_view pattern) {
  std::vector<Token> tokens;
  Scanner scanner(pattern);
  std::optional<std::string_view> literal = scanner.scanUpTo("${");
  while (literal) {
    tokens.push_back(Token::string(std::string(*literal)));
    scanner.scanRun("${");
    if (std::optional<std::string_view> body = scanner.scanUpTo("}")) {
      const std::size_t colon = body->find(':');
      if (colon == std::string_view::npos) {
        tokens.push_back(Token::variable(std::string(*body)));
      } else {
        std::string_view rest = body->substr(colon + 1);
        tokens.push_back(Token::variable(std::string(body->substr(0, colon)),
                                         std::string(rest.substr(0, rest.find(':')))));
      }
      scanner.scanRun("}");
    }
    literal = scanner.scanUpTo("${");
  }
  return tokens;
}

// Appends the tokens of one literal: its text with each run of "*" as one
// wildcard.
void splitWildcards(std::string_view literal, std::vector<Token>& out) {
  Scanner scanner(literal);
  if (scanner.scanRun("*")) out.push_back(Token::wildcard());
  for (;;) {
    std::optional<std::string_view> text = scanner.scanUpTo("*");
    if (text) out.push_back(Token::string(std::string(*text)));
    const bool star = scanner.scanRun("*");
    if (star) out.push_back(Token::wildcard());
    if (!text && !star) return;
  }
}

}  // namespace

URLRouteTokenizer::URLRouteTokenizer(std::string pattern) : stringValue_(std::move(pattern)) {
  for (Token& token : splitVariables(stringValue_)) {
    if (token.kind == Token::Kind::string) {
      splitWildcards(token.text, tokens_);
    } else {
      tokens_.push_back(std::move(token));
    }
  }
}

std::string describe(const URLRouteTokenizer::Token& token) {
  switch (token.kind) {
    case URLRouteTokenizer::Token::Kind::string:
      return "string(" + token.text + ")";
    case URLRouteTokenizer::Token::Kind::variable:
      return "variable(" + token.text + (token.pattern ? ":" + *token.pattern : "") + ")";
    case URLRouteTokenizer::Token::Kind::wildcard:
      break;
  }
  return "wildcard";
}

}  // namespace zorlan
