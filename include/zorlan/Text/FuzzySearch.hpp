// Fuzzy matching of a search term against candidate texts, and fuzzy search
// over a collection: filtering, forced inclusion or exclusion, ordering by score.
//
//   struct Title { std::string name; bool pinned; };
//   std::vector<Title> found = fuzzySearch(catalogue, "mdnght",
//       [](const Title& t) { return std::optional<std::string_view>(t.name); },
//       [](const Title& t) { return t.pinned ? std::optional<bool>(true) : std::nullopt; });
//   fuzzyMatchScore("Midnight Garden", "mid");   // about 3.0; absent if no match
//
// A search is O(candidates × term length × candidate length) in the worst
// case; it prepares the term and a scratch buffer once and keeps an index of
// the candidates it ranks. Scoring accepts any bytes, ill-formed UTF-8
// included. `FuzzyMatcher` prepares a term once for many candidates and may
// be shared by threads.
//
// The score of a candidate rewards the term's characters found close together
// and in order. Characters are user-perceived characters; two characters match
// when their lower-cased forms are canonically equivalent. For each character
// of the term, each matching candidate position j scores
//   best + 1 - sqrt(j - k - 1)
// where `best` is the highest score of the previous term character at some
// position k <= j (ties to the highest k; none yet: -FLT_MAX), or 1 when the
// previous character has no score at or before j. The candidate's score is the
// highest score of the last term character. Only the term's first character
// must occur in the candidate. A candidate position can serve two consecutive
// term characters; the square root of -1 then makes the score NaN (candidate
// "ab", term "aa"), and such candidates have no defined place in the order.
// All arithmetic is in 32-bit floats.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace zorlan {

// A search term prepared once for scoring many candidates. Immutable after
// construction; `score` may be called from several threads at once.
class FuzzyMatcher {
 public:
  explicit FuzzyMatcher(std::string_view term);

  // The score of `candidate` against the term: absent when the term is empty,
  // when the term's first character does not occur in the candidate
  // lower-cased as a whole text (where a capital sigma ending a word becomes
  // a final sigma, unlike the sigma lower-cased alone), or when the last term
  // character matches nowhere; otherwise the
  // score described above (possibly NaN). Linear in the product of the term's
  // and the candidate's lengths (in practice close to linear in the candidate's
  // length: only positions where a term character matches are scored).
  std::optional<float> score(std::string_view candidate) const;

  // Working memory for scoring, reused from call to call; one per thread.
  class Scratch;
  struct ScratchDeleter {
    void operator()(Scratch* scratch) const noexcept;
  };
  using ScratchPtr = std::unique_ptr<Scratch, ScratchDeleter>;
  static ScratchPtr makeScratch();

  // As `score(candidate)`, working in `scratch` (which must not be in use by
  // another thread at the same time).
  std::optional<float> score(std::string_view candidate, Scratch& scratch) const {
    // A first term character beyond ASCII never occurs in ASCII text: most
    // candidates of a catalogue are turned away here, at once.
    if (firstBeyondAscii_ && isAscii(candidate)) return std::nullopt;
    const std::uint64_t packed = scoreText(candidate, scratch);
    if ((packed >> 32) == 0) return std::nullopt;
    float value;
    const auto bits = static_cast<std::uint32_t>(packed);
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }

  // True when the term is empty (every score is absent).
  bool isEmpty() const noexcept { return characters_.empty(); }

 private:
  // The term's characters, lower-cased and composed.
  std::vector<std::string> characters_;
  // For each term character whose form is one ASCII byte, that byte; -1 otherwise.
  std::vector<int> bytes_;
  // For each lower-cased candidate byte, which of the first 64 term
  // characters it matches, as bits.
  std::array<std::uint64_t, 256> byteMatches_{};
  // The same for each ASCII candidate byte before lower-casing.
  std::array<std::uint64_t, 128> asciiMatches_{};
  // For each of the first 64 term characters whose form is longer than one
  // byte: its bit and its form.
  std::vector<std::pair<std::uint64_t, std::string>> longForms_;
  // Whether candidates of one- and two-byte characters are scored in one
  // pass: at most 64 term characters, the first of one byte.
  bool onePass_ = false;
  // For each ASCII candidate byte, the term characters it matches in term
  // order (at most kMaxRepeats; the rest unused) and how many there are.
  static constexpr std::size_t kMaxRepeats = 4;
  std::array<std::array<std::uint8_t, kMaxRepeats>, 128> asciiTerms_{};
  std::array<std::uint8_t, 128> asciiTermCount_{};
  // The most term characters any one byte matches; 0 when some byte matches
  // more than kMaxRepeats of them.
  std::size_t repeats_ = 0;

  // For each byte, the term characters among the first 64 whose form is
  // longer than one byte and starts with it.
  std::array<std::uint64_t, 256> leadMatches_{};
  // Whether candidates of any characters are scored from the table of
  // code points: at most 64 term characters, the first of one code point.
  bool byCodePoint_ = false;
  // The distinct one-byte forms of the first 64 term characters, and for
  // each of those term characters the index of its form there (or -1).
  std::vector<unsigned char> shortForms_;
  std::vector<int> shortFormOf_;
  // Whether the first term character's form has a byte beyond ASCII.
  bool firstBeyondAscii_ = false;
  // Whether the first term character's form is one code point that
  // normalization never makes, changes or joins (an ideograph, say): the
  // candidate lower-cased and composed holds it exactly when the form of one
  // of its code points does.
  bool firstInert_ = false;
  // Whether the first term character's form holds a small sigma (σ or ς),
  // which a capital sigma lower-cases to depending on what surrounds it.
  bool firstHasSigma_ = false;

  // Whether every byte of `text` is below 0x80. Texts of 8 to 64 bytes (most
  // titles) are read as eight overlapping words, without a branch on their
  // length, which would follow the text and be mispredicted.
  static bool isAscii(std::string_view text) noexcept {
    const char* const p = text.data();
    const std::size_t n = text.size();
    const auto word = [p](std::size_t at) noexcept {
      std::uint64_t value;
      std::memcpy(&value, p + at, sizeof value);
      return value;
    };
    std::uint64_t high = 0;
    if (n >= 8 && n <= 64) {
      for (std::size_t at = 0; at < 64; at += 8) high |= word(std::min(at, n - 8));
    } else if (n > 64) {
      for (std::size_t at = 0; at + 8 <= n; at += 8) high |= word(at);
      high |= word(n - 8);
    } else {
      for (std::size_t i = 0; i < n; ++i) high |= static_cast<unsigned char>(p[i]);
    }
    return (high & 0x8080808080808080ull) == 0;
  }
  // The scorers give a score packed in 64 bits: bit 32 set when present, the
  // float's bits below.
  std::uint64_t scoreText(std::string_view candidate, Scratch& scratch) const;
  // Cuts the candidate into characters with the general segmentation.
  std::uint64_t scoreGenerally(std::string_view candidate, Scratch& scratch) const;
  std::uint64_t scoreInOnePass(std::string_view candidate, Scratch& scratch, bool& scored) const;
  std::uint64_t scoreByCodePoint(std::string_view candidate, Scratch& scratch, bool& scored) const;
  // Whether the candidate lower-cased as a whole text contains the first
  // term character.
  bool wholeTextContainsFirst(std::string_view candidate) const;
  // For a candidate of at most 64 bytes and a term of at most 64 characters:
  // whether it is plain ASCII (no CR LF), and then whether it can have a
  // score, and then the positions where each term character matches, as bits.
  enum class AsciiMasks { notPlain, noScore, filled };
  AsciiMasks asciiMasks(std::string_view candidate, std::uint64_t* masks) const;
};

namespace detail {

// An element a search keeps: its index and its score.
struct FuzzyKept {
  std::uint32_t index;
  float score;
};

// The most elements one search takes (the kept indices are 32-bit).
inline constexpr std::size_t kMaxFuzzySearchElements = 0xFFFFFFFFu;

// Orders the kept elements by score, highest first, keeping the input order
// of equal scores: the order std::stable_sort gives with `a.score >
// b.score`, also when a score is NaN.
void sortByScoreDescending(std::vector<FuzzyKept>& kept);

// Whether a search may take the bytes of a text from the accessor and keep
// them for a few elements before scoring them: a reference (to text the
// elements own, which stays put during the search), a pointer, or an
// optional view. Other texts (which may own their bytes) are scored at once.
template <class Text>
inline constexpr bool kViewedText =
    std::is_lvalue_reference_v<Text> || std::is_pointer_v<std::remove_cv_t<Text>> ||
    std::is_same_v<std::remove_cv_t<Text>, std::optional<std::string_view>>;

}  // namespace detail

// `FuzzyMatcher(term).score(candidate)`: hello / hl gives 1.0, hello / he 2.0,
// Apple / AP 2.0, Apple / x absent, ab / aa NaN.
std::optional<float> fuzzyMatchScore(std::string_view candidate, std::string_view term);

// The elements matching `term`, best first. With an absent or empty term, a
// copy of `elements` unchanged (`overrideOf` is not asked). Otherwise, for each
// element: `textOf(element)` gives its searchable text or absent (anything
// testable with `if` and dereferenceable to text, such as
// std::optional<std::string>); a text with a present score makes the element a
// candidate. `overrideOf(element)` (a std::optional<bool>) then decides:
// absent keeps the candidate, if any; true forces the element in with a score
// of at least 1.0 (its own score when higher); false drops it. The kept
// elements are ordered by score, highest first, equal scores in input order.
// The accessors are asked once per element, in element order, the text before
// the override. A text given as a std::optional<std::string_view>, a pointer
// or a reference is read a few elements after it was asked for (so it must
// stay valid while the search runs, as the elements do); any other text is
// scored at once. Throws std::length_error for more than 2^32 - 1 elements;
// whatever an accessor throws passes out.
template <class T, class TextOf, class OverrideOf>
std::vector<T> fuzzySearch(const std::vector<T>& elements, std::optional<std::string_view> term,
                           TextOf&& textOf, OverrideOf&& overrideOf) {
  if (!term || term->empty()) return elements;
  if (elements.size() > detail::kMaxFuzzySearchElements) {
    throw std::length_error("fuzzySearch: more than 2^32 - 1 elements");
  }
  const FuzzyMatcher matcher(*term);
  const FuzzyMatcher::ScratchPtr scratch = FuzzyMatcher::makeScratch();
  std::vector<detail::FuzzyKept> kept;
  kept.reserve(elements.size());
  const auto decide = [&](std::size_t index, std::optional<float> score,
                          std::optional<bool> forced) {
    if (!forced) {
      if (score) kept.push_back({static_cast<std::uint32_t>(index), *score});
    } else if (*forced) {
      kept.push_back({static_cast<std::uint32_t>(index), score && *score > 1.0f ? *score : 1.0f});
    }
  };
  using Text = decltype(textOf(elements.front()));
  if constexpr (detail::kViewedText<Text>) {
    // The accessors are asked in element order (text, then override), and
    // each text is scored kAhead elements later, its bytes fetched meanwhile:
    // the texts of a catalogue are scattered over memory, and scoring one
    // takes less time than waiting for it.
    constexpr std::size_t kAhead = 8;
    std::string_view views[kAhead];
    bool present[kAhead] = {};
    std::optional<bool> decisions[kAhead];
    const std::size_t n = elements.size();
    for (std::size_t index = 0; index < n + kAhead; ++index) {
      const std::size_t slot = index % kAhead;
      if (index >= kAhead) {
        std::optional<float> score;
        if (present[slot]) score = matcher.score(views[slot], *scratch);
        decide(index - kAhead, score, decisions[slot]);
      }
      if (index < n) {
        Text text = textOf(elements[index]);
        present[slot] = static_cast<bool>(text);
        if (present[slot]) {
          views[slot] = std::string_view(*text);
          __builtin_prefetch(views[slot].data());
          __builtin_prefetch(views[slot].data() + (views[slot].size() - !views[slot].empty()));
        }
        decisions[slot] = overrideOf(elements[index]);
      }
    }
  } else {
    for (std::size_t index = 0; index < elements.size(); ++index) {
      const T& element = elements[index];
      std::optional<float> score;
      {
        const auto text = textOf(element);
        if (text) score = matcher.score(std::string_view(*text), *scratch);
      }
      decide(index, score, overrideOf(element));
    }
  }
  detail::sortByScoreDescending(kept);
  std::vector<T> result;
  result.reserve(kept.size());
  for (const detail::FuzzyKept& entry : kept) result.push_back(elements[entry.index]);
  return result;
}

// As above with no overrides.
template <class T, class TextOf>
std::vector<T> fuzzySearch(const std::vector<T>& elements, std::optional<std::string_view> term,
                           TextOf&& textOf) {
  return fuzzySearch(elements, term, std::forward<TextOf>(textOf),
                     [](const T&) { return std::optional<bool>(); });
}

}  // namespace zorlan
