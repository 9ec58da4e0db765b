#include "zorlan/Text/FuzzySearch.hpp"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <unordered_map>

#include "zorlan/Platform/Unicode.hpp"

namespace zorlan {
namespace {

char lowerAscii(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// A character's form for comparison: lower-cased, then composed.
std::string fold(std::string_view character) {
  if (character.size() == 1 && static_cast<unsigned char>(character[0]) < 0x80) {
    return std::string(1, lowerAscii(character[0]));
  }
  return unicode::normalizedNFC(unicode::lowercased(character));
}

}  // namespace

// Working memory of one thread's scoring, reused from candidate to candidate.
class FuzzyMatcher::Scratch {
 public:
  // The candidate's characters, folded, as ranges of one buffer (n + 1 starts).
  std::string folded;
  std::vector<std::uint32_t> starts;
  // Positions where each term character matches, and the present entries of
  // the previous and the current row (positions ascending, with their values).
  std::vector<std::vector<std::uint32_t>> matches;
  std::vector<std::uint32_t> previousPositions;
  std::vector<float> previousValues, currentValues;
  // Folded forms of the multi-byte characters seen lately.
  std::unordered_map<std::string, std::string> foldCache;
  // The (position, term character) pairs of a plain ASCII candidate.
  std::vector<std::uint32_t> pairs;
};

void FuzzyMatcher::ScratchDeleter::operator()(Scratch* scratch) const noexcept { delete scratch; }

FuzzyMatcher::ScratchPtr FuzzyMatcher::makeScratch() { return ScratchPtr(new Scratch()); }

namespace {

using Scratch = FuzzyMatcher::Scratch;

// Folds a candidate that is ASCII without CR LF, so that every byte is a
// character. False for any other candidate.
bool foldAscii(std::string_view candidate, Scratch& scratch) {
  const std::size_t n = candidate.size();
  scratch.folded.resize(n);
  unsigned char high = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const auto c = static_cast<unsigned char>(candidate[i]);
    high |= c;
    // Branch-free lower-casing of A-Z.
    scratch.folded[i] = static_cast<char>(c + (static_cast<unsigned>(c - 'A') < 26u ? 32 : 0));
  }
  if (high >= 0x80) return false;
  for (auto cr = candidate.find('\r'); cr != std::string_view::npos;
       cr = candidate.find('\r', cr + 1)) {
    if (cr + 1 < n && candidate[cr + 1] == '\n') return false;
  }
  return true;
}

// Appends to `positions` every position of `folded` holding `byte`, ascending.
void findByte(std::string_view folded, char byte, std::vector<std::uint32_t>& positions) {
  for (std::size_t i = 0; i < folded.size(); ++i) {
    if (folded[i] == byte) positions.push_back(static_cast<std::uint32_t>(i));
  }
}

// The folded forms of the characters U+0080 to U+07FF (two bytes of UTF-8)
// that never join a neighbour into one user-perceived character.
struct TwoByteForms {
  // Empty for a character that may join a neighbour (a combining mark, say).
  std::array<std::string, 0x800> forms;
};

const TwoByteForms& twoByteForms() {
  static const TwoByteForms* table = [] {
    auto* built = new TwoByteForms();
    for (UChar32 c = 0x80; c < 0x800; ++c) {
      // Characters of these classes break from both neighbours unless a
      // neighbour is an extending or prepended character, and such a
      // neighbour is not in this table; so a text made of ASCII other than
      // CR LF and of these characters has one character per code point.
      const auto kind = static_cast<UGraphemeClusterBreak>(
          u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK));
      if (kind != U_GCB_OTHER && kind != U_GCB_CONTROL) continue;
      const char utf8[2] = {static_cast<char>(0xC0 | (c >> 6)),
                            static_cast<char>(0x80 | (c & 0x3F))};
      built->forms[static_cast<std::size_t>(c)] = fold(std::string_view(utf8, 2));
    }
    return built;
  }();
  return *table;
}

// Folds a candidate made of ASCII (without CR LF) and of two-byte characters
// that never join a neighbour: each code point is then one character, and its
// form comes from the table. False for any other candidate.
bool foldTwoByte(std::string_view candidate, Scratch& scratch) {
  const TwoByteForms& table = twoByteForms();
  scratch.folded.clear();
  scratch.starts.clear();
  const std::size_t n = candidate.size();
  for (std::size_t i = 0; i < n;) {
    scratch.starts.push_back(static_cast<std::uint32_t>(scratch.folded.size()));
    const auto c = static_cast<unsigned char>(candidate[i]);
    if (c < 0x80) {
      if (c == '\r' && i + 1 < n && candidate[i + 1] == '\n') return false;
      scratch.folded += lowerAscii(static_cast<char>(c));
      ++i;
      continue;
    }
    // A well-formed two-byte sequence (C2..DF, then a continuation byte).
    if (c < 0xC2 || c > 0xDF || i + 1 >= n) return false;
    const auto next = static_cast<unsigned char>(candidate[i + 1]);
    if ((next & 0xC0) != 0x80) return false;
    const std::string& form = table.forms[((c & 0x1Fu) << 6) | (next & 0x3Fu)];
    if (form.empty()) return false;
    scratch.folded += form;
    i += 2;
  }
  scratch.starts.push_back(static_cast<std::uint32_t>(scratch.folded.size()));
  return true;
}

void foldUnicode(std::string_view candidate, Scratch& scratch) {
  if (foldTwoByte(candidate, scratch)) return;
  scratch.folded.clear();
  scratch.starts.clear();
  for (const std::string_view character : unicode::characters(candidate)) {
    scratch.starts.push_back(static_cast<std::uint32_t>(scratch.folded.size()));
    if (character.size() == 1 && static_cast<unsigned char>(character[0]) < 0x80) {
      scratch.folded += lowerAscii(character[0]);
      continue;
    }
    std::string key(character);
    auto cached = scratch.foldCache.find(key);
    if (cached == scratch.foldCache.end()) {
      if (scratch.foldCache.size() >= 1024) scratch.foldCache.clear();
      cached = scratch.foldCache.emplace(std::move(key), fold(character)).first;
    }
    scratch.folded += cached->second;
  }
  scratch.starts.push_back(static_cast<std::uint32_t>(scratch.folded.size()));
}

// The square roots of 0 to 255 in 32-bit float, made once at load time.
const std::array<float, 256> kSmallRoots = [] {
  std::array<float, 256> roots{};
  for (std::size_t i = 0; i < roots.size(); ++i) roots[i] = std::sqrt(static_cast<float>(i));
  return roots;
}();

// `condition ? a : b`, computed on the bits without a branch.
inline float selectFloat(bool condition, float a, float b) noexcept {
  std::uint32_t aBits, bBits;
  std::memcpy(&aBits, &a, sizeof aBits);
  std::memcpy(&bBits, &b, sizeof bBits);
  const std::uint32_t mask = 0u - static_cast<std::uint32_t>(condition);
  const std::uint32_t bits = (aBits & mask) | (bBits & ~mask);
  float result;
  std::memcpy(&result, &bits, sizeof result);
  return result;
}

// Whether `text` is ASCII without CR LF, so that every byte is a character.
bool isPlainAscii(std::string_view text) noexcept {
  const std::size_t n = text.size();
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + i, sizeof word);
    if (word & 0x8080808080808080ull) return false;
  }
  for (; i < n; ++i) {
    if (static_cast<unsigned char>(text[i]) >= 0x80) return false;
  }
  for (auto cr = text.find('\r'); cr != std::string_view::npos; cr = text.find('\r', cr + 1)) {
    if (cr + 1 < n && text[cr + 1] == '\n') return false;
  }
  return true;
}

}  // namespace

FuzzyMatcher::FuzzyMatcher(std::string_view term) {
  for (const std::string_view character : unicode::characters(term)) {
    characters_.push_back(fold(character));
    const std::string& form = characters_.back();
    if (form.size() == 1) {
      const auto byte = static_cast<unsigned char>(form[0]);
      bytes_.push_back(byte);
      if (characters_.size() <= 64) {
        const std::uint64_t bit = std::uint64_t{1} << (characters_.size() - 1);
        byteMatches_[byte] |= bit;
      }
    } else {
      bytes_.push_back(-1);
      if (characters_.size() <= 64) {
        longForms_.emplace_back(std::uint64_t{1} << (characters_.size() - 1), form);
      }
    }
  }
  for (int c = 0; c < 128; ++c) {
    asciiMatches_[static_cast<std::size_t>(c)] =
        byteMatches_[static_cast<unsigned char>(lowerAscii(static_cast<char>(c)))];
  }
  onePass_ = !characters_.empty() && characters_.size() <= 64 && bytes_[0] >= 0;
  repeats_ = 0;
  for (std::size_t c = 0; c < 128; ++c) {
    std::size_t count = 0;
    for (std::uint64_t bits = asciiMatches_[c]; bits != 0; bits &= bits - 1, ++count) {
      if (count < kMaxRepeats) {
        asciiTerms_[c][count] = static_cast<std::uint8_t>(__builtin_ctzll(bits));
      }
    }
    asciiTermCount_[c] = static_cast<std::uint8_t>(std::min(count, kMaxRepeats));
    repeats_ = count > kMaxRepeats ? kMaxRepeats + 1 : std::max(repeats_, count);
  }
  if (repeats_ > kMaxRepeats) repeats_ = 0;
}

// Scores in one pass over the candidate, all term characters at once, a
// candidate whose characters are each one code point: ASCII other than CR LF
// and the two-byte characters of the table. `scored` is false for any other
// candidate. At each position the matching term characters are taken in term
// order, so that a term character's entry at j is part of the choice of the
// next term character at the same j. For each term character t >= 1 the
// choice is the best entry of the row of t - 1 so far, as the general scorer
// keeps it.
std::optional<float> FuzzyMatcher::scoreInOnePass(std::string_view candidate, Scratch& scratch,
                                                  bool& scored) const {
  constexpr float kAbsent = -std::numeric_limits<float>::max();
  const std::size_t m = characters_.size();
  // Slot t (1 <= t < m) is the choice of term character t: whether there is
  // one yet, and the value and position of the best entry so far of the row
  // of t - 1 (while there is none, the value is kAbsent). Slot m is the
  // result: the greatest entry of the last row so far. Slot 0 stays empty, so
  // the first term character's entries are all 1.0.
  float slotValue[65];
  std::uint32_t slotPosition[65];
  bool slotPresent[65];
  for (std::size_t t = 0; t <= m; ++t) {
    slotValue[t] = kAbsent;
    slotPosition[t] = 0;
    slotPresent[t] = false;
  }
  // Whether a longer form of the candidate holds the first term character as
  // one of its bytes. (Slot 1 takes the first entry it is offered, so it is
  // present exactly when the first term character matches a character.)
  bool firstInLongerForm = false;
  // The entry of term character t at position j, offered to slot t + 1. The
  // choice starts at position 0 whatever that entry holds (even NaN); later
  // entries replace it when it is not greater. The result keeps the first of
  // equal values (and a NaN in first place). Written without branches on the
  // values, which follow the text and would be mispredicted.
  const auto visit = [&](std::size_t t, std::uint32_t j) {
    // (An absent choice's value is not used; its gap is taken as 0.)
    const std::int64_t gap = (static_cast<std::int64_t>(j) - slotPosition[t] - 1) &
                             -static_cast<std::int64_t>(slotPresent[t]);
    const float root = static_cast<std::uint64_t>(gap) < kSmallRoots.size()
                           ? kSmallRoots[static_cast<std::size_t>(gap)]
                           : std::sqrt(static_cast<float>(gap));  // NaN for the gap -1
    const float value = selectFloat(slotPresent[t], (slotValue[t] + 1.0f) - root, 1.0f);
    const std::size_t s = t + 1;
    const bool isResult = s == m;
    const bool replaces = (isResult & ((!slotPresent[s]) | (slotValue[s] < value))) |
                          ((!isResult) & ((j == 0) | (slotValue[s] <= value)));
    slotValue[s] = selectFloat(replaces, value, slotValue[s]);
    const std::uint32_t keep = replaces ? 0u : ~0u;
    slotPosition[s] = (slotPosition[s] & keep) | (j & ~keep);
    slotPresent[s] = slotPresent[s] | replaces;
  };

  const std::size_t n = candidate.size();
  if (n >= (std::size_t{1} << 24)) {
    scored = false;  // positions must fit the pairs' 26 bits
    return std::nullopt;
  }
  // First the (position, term character) pairs in order, written without
  // branching on the text, then each pair in turn.
  std::vector<std::uint32_t>& pairs = scratch.pairs;
  std::size_t pairCount = 0;
  if (repeats_ != 0 && isPlainAscii(candidate)) {
    // Without the first term character there is no score (a quick look, as
    // a quarter of a catalogue typically lacks it).
    const char first = characters_[0][0];
    const char firstUpper = first >= 'a' && first <= 'z' ? static_cast<char>(first - 32) : first;
    if (candidate.find(first) == std::string_view::npos &&
        (firstUpper == first || candidate.find(firstUpper) == std::string_view::npos)) {
      scored = true;
      return std::nullopt;
    }
    // Grown only: shrinking and growing again would clear the new space.
    if (pairs.size() < n * repeats_ + kMaxRepeats) pairs.resize(n * repeats_ + kMaxRepeats);
    std::uint32_t* out = pairs.data();
    for (std::uint32_t j = 0; j < n; ++j) {
      const auto c = static_cast<unsigned char>(candidate[j]);
      const std::array<std::uint8_t, kMaxRepeats>& terms = asciiTerms_[c];
      for (std::size_t k = 0; k < repeats_; ++k) out[k] = (j << 6) | terms[k];
      out += asciiTermCount_[c];
    }
    pairCount = static_cast<std::size_t>(out - pairs.data());
  } else {
    pairs.clear();
    const TwoByteForms& table = twoByteForms();
    std::uint32_t j = 0;  // the character's position
    for (std::size_t i = 0; i < n; ++i, ++j) {
      const auto c = static_cast<unsigned char>(candidate[i]);
      std::uint64_t bits;
      if (c < 0x80) {
        if (c == '\r' && i + 1 < n && candidate[i + 1] == '\n') {
          scored = false;
          return std::nullopt;
        }
        bits = asciiMatches_[c];
      } else {
        // A well-formed two-byte sequence (C2..DF, then a continuation byte)
        // of a character that never joins a neighbour.
        const auto next = i + 1 < n ? static_cast<unsigned char>(candidate[i + 1]) : 0u;
        if (c < 0xC2 || c > 0xDF || (next & 0xC0u) != 0x80u) {
          scored = false;
          return std::nullopt;
        }
        const std::string& form = table.forms[((c & 0x1Fu) << 6) | (next & 0x3Fu)];
        if (form.empty()) {
          scored = false;
          return std::nullopt;
        }
        ++i;
        if (form.size() == 1) {
          bits = byteMatches_[static_cast<unsigned char>(form[0])];
        } else {
          bits = 0;
          for (const auto& [bit, termForm] : longForms_) {
            if (termForm == form) bits |= bit;
          }
          if (form.find(characters_[0][0]) != std::string::npos) firstInLongerForm = true;
        }
      }
      for (; bits != 0; bits &= bits - 1) {
        pairs.push_back((j << 6) | static_cast<std::uint32_t>(__builtin_ctzll(bits)));
      }
    }
    pairCount = pairs.size();
  }
  for (std::size_t p = 0; p < pairCount; ++p) visit(pairs[p] & 63u, pairs[p] >> 6);
  scored = true;
  if (!(firstInLongerForm || slotPresent[1]) || !slotPresent[m]) return std::nullopt;
  return slotValue[m];
}

std::optional<float> FuzzyMatcher::score(std::string_view candidate) const {
  thread_local Scratch scratch;
  return score(candidate, scratch);
}

std::optional<float> FuzzyMatcher::score(std::string_view candidate, Scratch& scratch) const {
  if (characters_.empty()) return std::nullopt;
  if (onePass_) {
    bool scored = false;
    std::optional<float> result = scoreInOnePass(candidate, scratch, scored);
    if (scored) return result;
  }
  const std::size_t m = characters_.size();
  scratch.matches.resize(m);
  for (auto& positions : scratch.matches) positions.clear();

  // The positions where each term character matches, and whether the first
  // term character occurs in the lower-cased candidate.
  bool containsFirst = false;
  if (foldAscii(candidate, scratch)) {
    // One table look-up per position finds the term characters it matches.
    const std::string_view folded = scratch.folded;
    for (std::size_t j = 0; j < folded.size(); ++j) {
      for (std::uint64_t bits = byteMatches_[static_cast<unsigned char>(folded[j])]; bits != 0;
           bits &= bits - 1) {
        scratch.matches[static_cast<std::size_t>(__builtin_ctzll(bits))].push_back(
            static_cast<std::uint32_t>(j));
      }
    }
    for (std::size_t t = 64; t < m; ++t) {
      if (bytes_[t] >= 0) findByte(folded, static_cast<char>(bytes_[t]), scratch.matches[t]);
    }
    containsFirst = bytes_[0] >= 0 ? !scratch.matches[0].empty()
                                   : scratch.folded.find(characters_[0]) != std::string::npos;
  } else {
    foldUnicode(candidate, scratch);
    const std::string_view folded = scratch.folded;
    const std::size_t n = scratch.starts.size() - 1;
    for (std::size_t j = 0; j < n; ++j) {
      const std::string_view character =
          folded.substr(scratch.starts[j], scratch.starts[j + 1] - scratch.starts[j]);
      for (std::size_t t = 0; t < m; ++t) {
        // One-byte forms compare as bytes; longer ones as texts.
        const bool match =
            bytes_[t] >= 0
                ? character.size() == 1 && static_cast<unsigned char>(character[0]) == bytes_[t]
                : character == characters_[t];
        if (match) scratch.matches[t].push_back(static_cast<std::uint32_t>(j));
      }
    }
    containsFirst = folded.find(characters_[0]) != std::string_view::npos;
  }
  if (!containsFirst) return std::nullopt;

  // Row by row, only the present entries are kept. Absent entries take part in
  // comparisons as the most negative finite float, so an absent choice is
  // replaced by any present entry but NaN, and a present choice is never
  // replaced by an absent one (a present value is never that low). Moving from
  // position j - 1 to j only adds the comparisons with the entries at j, so the
  // best entry at or before j is carried forward instead of searched for again.
  // A choice that holds NaN is never replaced: every comparison with it fails.
  constexpr float kAbsent = -std::numeric_limits<float>::max();
  scratch.previousPositions.clear();
  scratch.previousValues.clear();
  for (std::size_t t = 0; t < m; ++t) {
    const std::vector<std::uint32_t>& positions = scratch.matches[t];
    scratch.currentValues.resize(positions.size());
    // The choice starts at position 0, whatever it holds (even NaN).
    std::size_t scanned = 0;  // previous entries folded into the choice so far
    bool chosenPresent = false;
    float chosenValue = kAbsent;
    std::uint32_t chosenPosition = 0;
    if (!scratch.previousPositions.empty() && scratch.previousPositions[0] == 0) {
      chosenPresent = true;
      chosenValue = scratch.previousValues[0];
      scanned = 1;
    }
    for (std::size_t p = 0; p < positions.size(); ++p) {
      const std::uint32_t j = positions[p];
      for (; scanned < scratch.previousPositions.size() && scratch.previousPositions[scanned] <= j;
           ++scanned) {
        const float value = scratch.previousValues[scanned];
        if (chosenValue <= value) {
          chosenPresent = true;
          chosenValue = value;
          chosenPosition = scratch.previousPositions[scanned];
        }
      }
      if (!chosenPresent) {
        scratch.currentValues[p] = 1.0f;
      } else {
        const auto gap =
            static_cast<std::int64_t>(j) - static_cast<std::int64_t>(chosenPosition) - 1;
        scratch.currentValues[p] = (chosenValue + 1.0f) - std::sqrt(static_cast<float>(gap));
      }
    }
    scratch.previousPositions.assign(positions.begin(), positions.end());
    scratch.previousValues.swap(scratch.currentValues);
  }

  // The greatest entry of the last row; strict, so the first of equals (and a
  // NaN in first place) stays.
  std::optional<float> result;
  for (const float value : scratch.previousValues) {
    if (!result || value > *result) result = value;
  }
  return result;
}

namespace detail {

void sortByScoreDescending(std::vector<std::pair<std::size_t, float>>& pairs) {
  const auto byScore = [](const auto& lhs, const auto& rhs) { return lhs.second > rhs.second; };
  for (const auto& pair : pairs) {
    if (std::isnan(pair.second)) {
      // NaN compares false both ways, which is no ordering: only the very same
      // merge sort gives the same order.
      std::stable_sort(pairs.begin(), pairs.end(), byScore);
      return;
    }
  }
  if (pairs.size() < 64 || pairs.size() > std::numeric_limits<std::uint32_t>::max()) {
    std::stable_sort(pairs.begin(), pairs.end(), byScore);
    return;
  }
  // Without NaN the stable order is unique; a radix sort finds it in four
  // passes over keys that order like the scores, highest first (0 and -0
  // compare equal, so both get the key of 0).
  struct Keyed {
    std::uint32_t key;
    std::uint32_t position;
  };
  const std::size_t n = pairs.size();
  std::vector<Keyed> keyed(n), spare(n);
  for (std::size_t i = 0; i < n; ++i) {
    const float score = pairs[i].second == 0.0f ? 0.0f : pairs[i].second;
    std::uint32_t bits;
    std::memcpy(&bits, &score, sizeof bits);
    const std::uint32_t ascending = (bits & 0x80000000u) ? ~bits : (bits | 0x80000000u);
    keyed[i] = Keyed{~ascending, static_cast<std::uint32_t>(i)};
  }
  std::array<std::array<std::uint32_t, 256>, 4> counts{};
  for (const Keyed& k : keyed) {
    for (int digit = 0; digit < 4; ++digit) ++counts[digit][(k.key >> (8 * digit)) & 0xFFu];
  }
  for (int digit = 0; digit < 4; ++digit) {
    auto& count = counts[digit];
    if (count[(keyed[0].key >> (8 * digit)) & 0xFFu] == n) continue;  // one value: no move
    std::uint32_t offset = 0;
    for (auto& c : count) {
      const std::uint32_t here = c;
      c = offset;
      offset += here;
    }
    for (const Keyed& k : keyed) spare[count[(k.key >> (8 * digit)) & 0xFFu]++] = k;
    keyed.swap(spare);
  }
  std::vector<std::pair<std::size_t, float>> sorted;
  sorted.reserve(n);
  for (const Keyed& k : keyed) sorted.push_back(pairs[k.position]);
  pairs.swap(sorted);
}

}  // namespace detail

std::optional<float> fuzzyMatchScore(std::string_view candidate, std::string_view term) {
  return FuzzyMatcher(term).score(candidate);
}

}  // namespace zorlan
