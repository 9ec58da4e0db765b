#include "zorlan/Routing/URLRouteMatcher.hpp"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>

#include "Routing/RoutePrefix.hpp"
#include "zorlan/Platform/Unicode.hpp"

namespace zorlan {
namespace {

// ICU's time limit is counted in steps of the match engine (each some ten
// thousand operations, about a millisecond or less); the stack limit bounds
// the heap the backtracking may take.
constexpr std::int32_t kMatchTimeLimitSteps = 200;
constexpr std::int32_t kMatchStackLimitBytes = 1 << 20;
// A matcher is kept for reuse (one per route) only after inputs up to this
// length, so that what it keeps stays small.
constexpr std::int32_t kReusedInputLimit = 512;

// True when `text` is valid UTF-8; `ascii` tells whether it is all ASCII.
bool isValidUTF8(std::string_view text, bool& ascii) {
  ascii = true;
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    const std::size_t length = unicode::wellFormedUTF8Length(p, end);
    if (length == 0) return false;
    ascii = ascii && length == 1;
    p += length;
  }
  return true;
}

}  // namespace

struct URLRouteMatcher::Compiled {
  ~Compiled() { delete idle.load(); }

  // A matcher for this pattern with the limits set: the idle one if there is
  // one, else a new one (null when ICU cannot make one).
  std::unique_ptr<icu::RegexMatcher> takeMatcher() {
    std::unique_ptr<icu::RegexMatcher> matcher(idle.exchange(nullptr, std::memory_order_acquire));
    if (matcher) return matcher;
    UErrorCode status = U_ZERO_ERROR;
    matcher.reset(pattern->matcher(status));
    if (U_FAILURE(status)) return nullptr;
    matcher->setTimeLimit(kMatchTimeLimitSteps, status);
    matcher->setStackLimit(kMatchStackLimitBytes, status);
    return U_SUCCESS(status) ? std::move(matcher) : nullptr;
  }
  // Keeps `matcher` for the next match unless one is kept already or its
  // input was long (its backtracking stack keeps the size it grew to, so
  // only matchers of short inputs are kept).
  void giveBack(std::unique_ptr<icu::RegexMatcher> matcher, std::int32_t inputLength) {
    static const auto* const kNothing = new icu::UnicodeString();  // outlives every matcher
    if (inputLength > kReusedInputLimit) return;
    matcher->reset(*kNothing);  // forget the caller's text
    icu::RegexMatcher* expected = nullptr;
    if (idle.compare_exchange_strong(expected, matcher.get(), std::memory_order_release)) {
      (void)matcher.release();
    }
  }

  std::once_flag once;
  std::unique_ptr<icu::RegexPattern> pattern;  // null: the expression does not compile
  std::vector<routing::PrefixChar> prefix;
  std::atomic<icu::RegexMatcher*> idle{nullptr};
};

URLRouteMatcher::URLRouteMatcher(std::vector<URLRouteTokenizer::Token> tokens)
    : tokens_(std::move(tokens)), compiled_(std::make_unique<Compiled>()) {
  for (const URLRouteTokenizer::Token& token : tokens_) {
    switch (token.kind) {
      case URLRouteTokenizer::Token::Kind::string:
        regex_ += token.text;
        break;
      case URLRouteTokenizer::Token::Kind::variable:
        regex_ += '(';
        regex_ += token.pattern ? *token.pattern : std::string("[^/]+");
        regex_ += ')';
        names_.push_back(token.text);
        break;
      case URLRouteTokenizer::Token::Kind::wildcard:
        regex_ += ".*";
        break;
    }
  }
}

URLRouteMatcher::~URLRouteMatcher() = default;
URLRouteMatcher::URLRouteMatcher(URLRouteMatcher&&) noexcept = default;
URLRouteMatcher& URLRouteMatcher::operator=(URLRouteMatcher&&) noexcept = default;

std::optional<URLRouteVariables> URLRouteMatcher::match(std::string_view input) const {
  if (input.size() > static_cast<std::size_t>(INT32_MAX / 2)) return std::nullopt;
  if (!compiled_) return std::nullopt;  // moved from
  Compiled& compiled = *compiled_;
  std::call_once(compiled.once, [&] {
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    std::unique_ptr<icu::RegexPattern> pattern(icu::RegexPattern::compile(
        icu::UnicodeString::fromUTF8(regex_), UREGEX_CASE_INSENSITIVE, where, status));
    if (U_SUCCESS(status) && pattern) {
      compiled.pattern = std::move(pattern);
      compiled.prefix = routing::requiredPrefix(regex_);
    }
  });
  if (!compiled.pattern) return std::nullopt;
  if (routing::checkPrefix(compiled.prefix, input) == routing::PrefixVerdict::noMatch) {
    return std::nullopt;
  }
  bool ascii = true;
  if (!isValidUTF8(input, ascii)) return std::nullopt;

  const icu::UnicodeString text = icu::UnicodeString::fromUTF8(input);
  std::unique_ptr<icu::RegexMatcher> matcher = compiled.takeMatcher();
  if (!matcher) return std::nullopt;
  matcher->reset(text);
  struct GiveBack {
    Compiled& compiled;
    std::unique_ptr<icu::RegexMatcher>& matcher;
    std::int32_t length;
    ~GiveBack() { compiled.giveBack(std::move(matcher), length); }
  } giveBack{compiled, matcher, text.length()};
  UErrorCode status = U_ZERO_ERROR;
  // The first match must cover the whole input. The leftmost match starts at
  // the first position where one exists, so it can only cover the input when
  // it starts at 0: a match anchored there is the one a search would find.
  const bool found = matcher->lookingAt(status);
  if (U_FAILURE(status)) {
    giveBack.length = INT32_MAX;  // a match cut short may have grown its stack to the limit
    return std::nullopt;
  }
  if (!found) return std::nullopt;
  const std::int32_t length = text.length();
  if (matcher->start(status) != 0 || matcher->end(status) != length) return std::nullopt;

  std::vector<std::string> captures;
  const std::int32_t groups = matcher->groupCount();
  for (std::int32_t group = 1; group <= groups; ++group) {
    const std::int32_t start = matcher->start(group, status);
    const std::int32_t end = matcher->end(group, status);
    if (U_FAILURE(status)) return std::nullopt;
    if (start < 0) continue;                    // the group took no part in the match
    if (start == 0 && end == length) continue;  // a group spanning the whole match
    if (ascii) {
      captures.emplace_back(
          input.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)));
    } else {
      std::string value;
      text.tempSubStringBetween(start, end).toUTF8String(value);
      captures.push_back(std::move(value));
    }
  }

  URLRouteVariables variables;
  if (names_.empty()) return variables;
  if (captures.size() < names_.size()) return std::nullopt;
  for (std::size_t i = 0; i < names_.size(); ++i) {
    variables.insert_or_assign(names_[i], std::move(captures[i]));
  }
  return variables;
}

}  // namespace zorlan
