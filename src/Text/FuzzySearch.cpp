#include "zorlan/Text/FuzzySearch.hpp"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
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
  // Folded forms of the multi-byte characters seen lately, found by views.
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>()(text);
    }
  };
  std::unordered_map<std::string, std::string, TextHash, std::equal_to<>> foldCache;
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

// What the scorer needs to know of one code point: how it takes part in
// cutting text into user-perceived characters, and, when it is a character
// on its own, its folded form.
struct CodePointInfo {
  enum Kind : std::uint8_t {
    // Forms a character of its own unless extenders follow.
    kAlone,
    // Joins the character before it: an extending mark, a spacing mark, the
    // zero-width joiner.
    kExtends,
    kSpacing,
    kJoiner,
    // As kAlone, and joins an emoji sequence: a pictograph after a
    // pictograph, extending marks and a zero-width joiner.
    kPictograph,
    // As kAlone, and joins a single regional indicator before it (a flag).
    kRegional,
    // Takes part in other rules (prepended marks, Hangul syllables,
    // controls, Indic conjuncts): the text is cut by the general
    // segmentation instead.
    kIntricate,
  };
  Kind kind = kIntricate;
  // Whether the form is more than one code point; whether it is known (the
  // form of a joining code point may be too long to keep).
  bool longForm = false;
  bool formKnown = true;
  std::uint8_t size = 0;
  char form[13] = {};
  std::string_view formView() const noexcept { return {form, size}; }
  bool joins() const noexcept { return kind == kExtends || kind == kSpacing || kind == kJoiner; }
};

// The code points in blocks of 256, each block made on first use and kept.
struct CodePointBlock {
  std::array<CodePointInfo, 256> infos;
};
constexpr std::size_t kCodePointBlocks = 0x110000 / 256;
std::atomic<const CodePointBlock*> codePointBlocks[kCodePointBlocks];

std::size_t codePointCount(std::string_view text) noexcept {
  std::size_t count = 0;
  for (const char c : text) count += (static_cast<unsigned char>(c) & 0xC0u) != 0x80u;
  return count;
}

CodePointInfo describeCodePoint(UChar32 c) {
  CodePointInfo info;
  if ((c >= 0xD800 && c <= 0xDFFF) || (c >= 0x0900 && c <= 0x0DFF)) {
    return info;  // Indic scripts have conjunct rules.
  }
  CodePointInfo::Kind kind;
  switch (u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK)) {
    case U_GCB_OTHER:
      kind = u_hasBinaryProperty(c, UCHAR_EXTENDED_PICTOGRAPHIC) ? CodePointInfo::kPictograph
                                                                 : CodePointInfo::kAlone;
      break;
    case U_GCB_REGIONAL_INDICATOR:
      kind = CodePointInfo::kRegional;
      break;
    case U_GCB_EXTEND:
      kind = CodePointInfo::kExtends;
      break;
    case U_GCB_SPACING_MARK:
      kind = CodePointInfo::kSpacing;
      break;
    case U_GCB_ZWJ:
      kind = CodePointInfo::kJoiner;
      break;
    default:
      return info;
  }
  info.kind = kind;
  std::string utf8;
  unicode::appendUTF8(utf8, static_cast<char32_t>(c));
  const std::string form = fold(utf8);
  if (form.size() > sizeof info.form) {
    // A joining code point keeps its kind (its form is then unknown); any
    // other is left to the general segmentation.
    if (!info.joins()) info.kind = CodePointInfo::kIntricate;
    info.formKnown = false;
    return info;
  }
  info.size = static_cast<std::uint8_t>(form.size());
  std::memcpy(info.form, form.data(), form.size());
  info.longForm = codePointCount(form) > 1;
  return info;
}

// Makes the block of `c` (once; another thread may make the same block
// meanwhile, and one of the two is kept).
[[gnu::noinline]] const CodePointBlock* makeCodePointBlock(char32_t c) {
  auto* made = new CodePointBlock();
  const char32_t first = c & ~char32_t{0xFF};
  for (char32_t i = 0; i < 256; ++i) {
    made->infos[i] = describeCodePoint(static_cast<UChar32>(first + i));
  }
  const CodePointBlock* expected = nullptr;
  if (codePointBlocks[c >> 8].compare_exchange_strong(expected, made, std::memory_order_acq_rel)) {
    return made;
  }
  delete made;
  return expected;
}

inline const CodePointInfo& codePointInfo(char32_t c) {
  const CodePointBlock* block = codePointBlocks[c >> 8].load(std::memory_order_acquire);
  if (block == nullptr) [[unlikely]]
    block = makeCodePointBlock(c);
  return block->infos[c & 0xFFu];
}

// The length (1 to 4) of the well-formed UTF-8 sequence of a code point
// beyond ASCII at `p`, before `end`, with the code point; 0 when the sequence
// is ill-formed (a stray continuation byte, an overlong form, a surrogate, a
// value past U+10FFFF, a cut-off sequence).
inline std::size_t decodeUTF8(const unsigned char* p, const unsigned char* end,
                              char32_t& codePoint) noexcept {
  const std::size_t available = static_cast<std::size_t>(end - p);
  const unsigned lead = p[0];
  const auto continues = [&](std::size_t i) { return i < available && (p[i] & 0xC0u) == 0x80u; };
  if (lead >= 0xC2 && lead <= 0xDF) {
    if (!continues(1)) return 0;
    codePoint = (char32_t{lead & 0x1Fu} << 6) | (p[1] & 0x3Fu);
    return 2;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    if (!continues(1) || !continues(2)) return 0;
    if ((lead == 0xE0 && p[1] < 0xA0) || (lead == 0xED && p[1] >= 0xA0)) return 0;
    codePoint = (char32_t{lead & 0x0Fu} << 12) | (char32_t{p[1] & 0x3Fu} << 6) | (p[2] & 0x3Fu);
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    if (!continues(1) || !continues(2) || !continues(3)) return 0;
    if ((lead == 0xF0 && p[1] < 0x90) || (lead == 0xF4 && p[1] >= 0x90)) return 0;
    codePoint = (char32_t{lead & 0x07u} << 18) | (char32_t{p[1] & 0x3Fu} << 12) |
                (char32_t{p[2] & 0x3Fu} << 6) | (p[3] & 0x3Fu);
    return 4;
  }
  return 0;
}

// Whether two short texts (characters' forms) are the same, byte by byte.
inline bool sameBytes(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i]) return false;
  }
  return true;
}

// The square roots of 0 to 255 in 32-bit float, made once at load time.
const std::array<float, 256> kSmallRoots = [] {
  std::array<float, 256> roots{};
  for (std::size_t i = 0; i < roots.size(); ++i) roots[i] = std::sqrt(static_cast<float>(i));
  return roots;
}();

// `condition ? a : b`, computed on the bits without a branch.
inline float selectFloat(bool condition, float a, float b) noexcept {
#if defined(__SSE2__)
  const __m128 mask = _mm_castsi128_ps(_mm_cvtsi32_si128(-static_cast<int>(condition)));
  return _mm_cvtss_f32(
      _mm_or_ps(_mm_and_ps(mask, _mm_set_ss(a)), _mm_andnot_ps(mask, _mm_set_ss(b))));
#else
  std::uint32_t aBits, bBits;
  std::memcpy(&aBits, &a, sizeof aBits);
  std::memcpy(&bBits, &b, sizeof bBits);
  const std::uint32_t mask = 0u - static_cast<std::uint32_t>(condition);
  const std::uint32_t bits = (aBits & mask) | (bBits & ~mask);
  float result;
  std::memcpy(&result, &bits, sizeof result);
  return result;
#endif
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

// A score as the scorers pass it on: bit 32 set when present, the float's
// bits below. (A std::optional<float> returned from a function that is not
// inlined goes through memory, and its reload waits for the store.)
using PackedScore = std::uint64_t;
constexpr PackedScore kNoScore = 0;

inline PackedScore packScore(float value) noexcept {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return (PackedScore{1} << 32) | bits;
}

// The scores of all term characters at once from the (position, term
// character) pairs where they match, in position order and, at one position,
// in term order, so that a term character's entry at j is part of the choice
// of the next term character at the same j. Each pair is (j << 6) | t. For
// each term character t >= 1 the choice is the best entry of the row of
// t - 1 so far, as the general scorer keeps it. `firstElsewhere`: the first
// term character occurs in the lower-cased candidate though it matches no
// character (inside a longer form). Absent when the first term character
// occurs nowhere or the last matches nowhere.
PackedScore scorePairs(const std::uint32_t* pairs, std::size_t count, std::size_t m,
                       bool firstElsewhere) {
  constexpr float kAbsent = -std::numeric_limits<float>::max();
  // Slot t (1 <= t < m) is the choice of term character t: whether there is
  // one yet, and the value and position of the best entry so far of the row
  // of t - 1 (while there is none, the value is kAbsent). Slot m is the
  // result: the greatest entry of the last row so far. Slot 0 stays empty, so
  // the first term character's entries are all 1.0. (Slot 1 takes the first
  // entry it is offered, so it is present exactly when the first term
  // character matches a character.)
  float slotValue[65];
  std::uint32_t slotPosition[65];
  bool slotPresent[65];
  for (std::size_t t = 0; t <= m; ++t) {
    slotValue[t] = kAbsent;
    slotPosition[t] = 0;
    slotPresent[t] = false;
  }
  // The entry of term character t at position j, offered to slot t + 1. The
  // choice starts at position 0 whatever that entry holds (even NaN); later
  // entries replace it when it is not greater. The result keeps the first of
  // equal values (and a NaN in first place). Written without branches on the
  // values, which follow the text and would be mispredicted.
  for (std::size_t p = 0; p < count; ++p) {
    const std::size_t t = pairs[p] & 63u;
    const std::uint32_t j = pairs[p] >> 6;
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
  }
  if (!(firstElsewhere || slotPresent[1]) || !slotPresent[m]) return kNoScore;
  return packScore(slotValue[m]);
}

// sqrt(gap) for the gaps -1 to 63 at index gap + 1: NaN first, as the square
// root of -1 is computed at run time (the input kept from constant folding).
const std::array<float, 65> kShortRoots = [] {
  std::array<float, 65> roots{};
  volatile float minusOne = -1.0f;
  roots[0] = std::sqrt(static_cast<float>(minusOne));
  for (std::size_t i = 1; i < roots.size(); ++i) roots[i] = kSmallRoots[i - 1];
  return roots;
}();

// The choices of one row's entries: for each position p of the row before
// (bit p of `before`), the best of that row's entries at or before p, as the
// scorer chooses: starting at position 0 whatever that entry holds (even
// NaN), replaced by each later entry that is not smaller. Written without
// branches on the values, which follow the text and would be mispredicted.
struct Choices {
  float value[64];
  std::uint32_t position[64];
  // All ones where there is a choice, zero where there is none (and then the
  // position is 0). Position 0 is always written, so that `entry` can read it
  // for a position with nothing at or before it.
  std::uint32_t present[64];

  void take(std::uint64_t before, const float* previous) noexcept {
    constexpr float kAbsent = -std::numeric_limits<float>::max();
    float best = kAbsent;
    std::uint32_t bestPosition = 0;
    std::uint32_t bestPresent = 0;
    if (before & 1u) {
      best = previous[0];
      bestPresent = ~0u;
      before &= before - 1;
    }
    value[0] = best;
    position[0] = 0;
    present[0] = bestPresent;
#if defined(__SSE2__)
    // The value stays in a vector register, where the comparison's mask
    // selects it; the mask is moved once for the position and the presence.
    __m128 bestValue = _mm_set_ss(best);
    for (; before != 0; before &= before - 1) {
      const auto p = static_cast<std::uint32_t>(__builtin_ctzll(before));
      const __m128 offered = _mm_load_ss(previous + p);
      const __m128 replaces = _mm_cmple_ss(bestValue, offered);  // false with NaN
      bestValue = _mm_or_ps(_mm_and_ps(replaces, offered), _mm_andnot_ps(replaces, bestValue));
      const auto mask = static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_castps_si128(replaces)));
      bestPosition = (bestPosition & ~mask) | (p & mask);
      bestPresent |= mask;
      _mm_store_ss(value + p, bestValue);
      position[p] = bestPosition;
      present[p] = bestPresent;
    }
#else
    for (; before != 0; before &= before - 1) {
      const auto p = static_cast<std::uint32_t>(__builtin_ctzll(before));
      const float offered = previous[p];
      const std::uint32_t mask = best <= offered ? ~0u : 0u;
      best = selectFloat(mask != 0, offered, best);
      bestPosition = (bestPosition & ~mask) | (p & mask);
      bestPresent |= mask;
      value[p] = best;
      position[p] = bestPosition;
      present[p] = bestPresent;
    }
#endif
  }

  // The entry at position j of the row after: 1.0 without a choice, else the
  // choice's value + 1 - sqrt(gap). (Without a choice, the nearest position
  // at or before j, or 0, holds no presence and position 0: the root read is
  // in range and the value is not used.)
  float entry(std::uint64_t before, std::uint32_t j) const noexcept {
    const std::uint64_t atOrBefore = before & ((std::uint64_t{2} << j) - 1);
    const auto q = static_cast<std::uint32_t>(63 - __builtin_clzll(atOrBefore | 1u));
    const float chosen = (value[q] + 1.0f) - kShortRoots[j - position[q]];
#if defined(__SSE2__)
    const __m128 mask = _mm_castsi128_ps(_mm_cvtsi32_si128(static_cast<int>(present[q])));
    return _mm_cvtss_f32(
        _mm_or_ps(_mm_and_ps(mask, _mm_set_ss(chosen)), _mm_andnot_ps(mask, _mm_set_ss(1.0f))));
#else
    return selectFloat(present[q] != 0, chosen, 1.0f);
#endif
  }
};

// The greater of `result` and `entry` by strict greater-than: `result` stays
// unless `entry` is greater (so a NaN result stays).
inline float keepGreater(float result, float entry) noexcept {
#if defined(__SSE2__)
  const __m128 r = _mm_set_ss(result), e = _mm_set_ss(entry);
  const __m128 mask = _mm_cmplt_ss(r, e);
  return _mm_cvtss_f32(_mm_or_ps(_mm_and_ps(mask, e), _mm_andnot_ps(mask, r)));
#else
  return selectFloat(result < entry, entry, result);
#endif
}

// As scorePairs, for candidates of at most 64 characters, from the positions
// where each term character matches as bits (`masks[t]`, bit j for position
// j), row by row.
PackedScore scoreMasks(const std::uint64_t* masks, std::size_t m, bool firstElsewhere) {
  if (!(firstElsewhere || masks[0] != 0) || masks[m - 1] == 0) return kNoScore;
  if (m == 1) return packScore(1.0f);  // the entries of the first row are all 1.0
  // An entry after the last entry of the next row is nobody's choice: leave
  // it out (all of a row, when the next has none).
  std::uint64_t rows[64];
  rows[m - 1] = masks[m - 1];
  for (std::size_t t = m - 1; t-- > 0;) {
    const std::uint64_t next = rows[t + 1];
    rows[t] = next == 0 ? 0 : masks[t] & ((std::uint64_t{2} << (63 - __builtin_clzll(next))) - 1);
  }
  // The second row's entries straight from the first row's positions: its
  // entries are all 1.0, so each choice is the last of them at or before j.
  const auto secondRowEntry = [first = rows[0]](std::uint32_t j) {
    const std::uint64_t atOrBefore = first & ((std::uint64_t{2} << j) - 1);
    const auto q = static_cast<std::uint32_t>(63 - __builtin_clzll(atOrBefore | 1u));
    return selectFloat(atOrBefore != 0, (1.0f + 1.0f) - kShortRoots[j - q], 1.0f);
  };
  if (m == 2) {
    std::uint64_t at = rows[1];
    float result = secondRowEntry(static_cast<std::uint32_t>(__builtin_ctzll(at)));
    for (at &= at - 1; at != 0; at &= at - 1) {
      result = keepGreater(result, secondRowEntry(static_cast<std::uint32_t>(__builtin_ctzll(at))));
    }
    return packScore(result);
  }
  // The rows' entries by position (only those at the row's positions are
  // read).
  Choices choices;
  float rowA[64], rowB[64];
  for (std::uint64_t at = rows[1]; at != 0; at &= at - 1) {
    const auto j = static_cast<std::uint32_t>(__builtin_ctzll(at));
    rowA[j] = secondRowEntry(j);
  }
  const float* previous = rowA;
  float* current = rowB;
  for (std::size_t t = 2; t + 1 < m; ++t) {
    choices.take(rows[t - 1], previous);
    for (std::uint64_t at = rows[t]; at != 0; at &= at - 1) {
      const auto j = static_cast<std::uint32_t>(__builtin_ctzll(at));
      current[j] = choices.entry(rows[t - 1], j);
    }
    previous = current;
    current = current == rowA ? rowB : rowA;
  }
  // The last row: its greatest entry, the first of equals (and a NaN in
  // first place) kept.
  choices.take(rows[m - 2], previous);
  std::uint64_t at = rows[m - 1];
  float result = choices.entry(rows[m - 2], static_cast<std::uint32_t>(__builtin_ctzll(at)));
  for (at &= at - 1; at != 0; at &= at - 1) {
    result = keepGreater(
        result, choices.entry(rows[m - 2], static_cast<std::uint32_t>(__builtin_ctzll(at))));
  }
  return packScore(result);
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
  for (std::size_t t = 0; t < characters_.size() && t < 64; ++t) {
    if (bytes_[t] < 0) {
      leadMatches_[static_cast<unsigned char>(characters_[t][0])] |= std::uint64_t{1} << t;
    }
  }
  for (std::size_t t = 0; t < characters_.size() && t < 64; ++t) {
    int index = -1;
    if (bytes_[t] >= 0) {
      const auto byte = static_cast<unsigned char>(bytes_[t]);
      const auto at = std::find(shortForms_.begin(), shortForms_.end(), byte);
      index = static_cast<int>(at - shortForms_.begin());
      if (at == shortForms_.end()) shortForms_.push_back(byte);
    }
    shortFormOf_.push_back(index);
  }
  byCodePoint_ =
      !characters_.empty() && characters_.size() <= 64 && codePointCount(characters_[0]) == 1;
  firstBeyondAscii_ = !characters_.empty() &&
                      std::any_of(characters_[0].begin(), characters_[0].end(),
                                  [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  if (!characters_.empty() && codePointCount(characters_[0]) == 1 && firstBeyondAscii_) {
    // Inert for composition (never joins a neighbour) and for decomposition
    // (no composite, so no sequence composes to it).
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    UChar32 c;
    std::int32_t at = 0;
    U8_NEXT(characters_[0].data(), at, static_cast<std::int32_t>(characters_[0].size()), c);
    firstInert_ = U_SUCCESS(status) && c >= 0 && nfc->isInert(c) && nfd->isInert(c);
  }
  firstHasSigma_ = !characters_.empty() && (characters_[0].find("\xcf\x83") != std::string::npos ||
                                            characters_[0].find("\xcf\x82") != std::string::npos);
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
// candidate.
PackedScore FuzzyMatcher::scoreInOnePass(std::string_view candidate, Scratch& scratch,
                                         bool& scored) const {
  const std::size_t m = characters_.size();
  // Whether a longer form of the candidate holds the first term character as
  // one of its bytes.
  bool firstInLongerForm = false;
  const std::size_t n = candidate.size();
  if (n >= (std::size_t{1} << 24)) {
    scored = false;  // positions must fit the pairs' 26 bits
    return kNoScore;
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
      return kNoScore;
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
          return kNoScore;
        }
        bits = asciiMatches_[c];
      } else {
        // A well-formed two-byte sequence (C2..DF, then a continuation byte)
        // of a character that never joins a neighbour.
        const auto next = i + 1 < n ? static_cast<unsigned char>(candidate[i + 1]) : 0u;
        if (c < 0xC2 || c > 0xDF || (next & 0xC0u) != 0x80u) {
          scored = false;
          return kNoScore;
        }
        const std::string& form = table.forms[((c & 0x1Fu) << 6) | (next & 0x3Fu)];
        if (form.empty()) {
          scored = false;
          return kNoScore;
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
  scored = true;
  return scorePairs(pairs.data(), pairCount, m, firstInLongerForm);
}

// Scores a candidate cut into characters with the table of code points:
// ASCII, and code points that form a character alone or followed by extending
// marks (accented letters, composed or not, Greek, Cyrillic, CJK, ...). The
// first term character is one code point, so the lower-cased candidate holds
// it exactly when a character's form holds it. `scored` is false for other
// candidates (ill-formed UTF-8, CR LF, emoji, Hangul, ...), and for those
// with a capital sigma when the first term character holds a small one.
PackedScore FuzzyMatcher::scoreByCodePoint(std::string_view candidate, Scratch& scratch,
                                           bool& scored) const {
  scored = false;
  const std::size_t n = candidate.size();
  if (n >= (std::size_t{1} << 24)) return kNoScore;
  if (firstHasSigma_ && candidate.find("\xce\xa3") != std::string_view::npos) {
    return kNoScore;
  }
  const std::string_view first = characters_[0];
  if (bytes_[0] < 0 && !firstBeyondAscii_ && isPlainAscii(candidate)) {
    // A form beyond one ASCII byte cannot occur in plain ASCII text. (With a
    // first term character beyond ASCII, `score` has turned them away.)
    scored = true;
    return kNoScore;
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(candidate.data());
  if (firstBeyondAscii_) {
    // A quick look for the first term character, which most candidates lack:
    // without extending marks every character is one code point (or a flag,
    // two), whose form holds it only when it is the form itself or longer.
    bool maybe = false;
    for (std::size_t i = 0; i < n && !maybe;) {
      if (bytes[i] < 0x80) {
#if defined(__SSE2__)
        // ASCII is skipped sixteen bytes at a time.
        while (i + 16 <= n) {
          const auto bits = static_cast<unsigned>(
              _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i))));
          if (bits != 0) {
            i += static_cast<std::size_t>(__builtin_ctz(bits));
            break;
          }
          i += 16;
        }
        if (i < n && bytes[i] < 0x80) ++i;
#else
        ++i;
#endif
        continue;
      }
      char32_t codePoint;
      const std::size_t length = decodeUTF8(bytes + i, bytes + n, codePoint);
      if (length == 0) {
        maybe = true;  // ill-formed: left to the general scorer below
        break;
      }
      const CodePointInfo& info = codePointInfo(codePoint);
      // A code point that joins its neighbour makes a character whose form
      // may hold the first term character though no code point's own form
      // does (e + U+0301 is é), unless the first term character is inert:
      // then the candidate lower-cased holds it exactly when some code
      // point's form does.
      const bool looked =
          info.kind == CodePointInfo::kAlone || info.kind == CodePointInfo::kPictograph ||
          info.kind == CodePointInfo::kRegional || (firstInert_ && info.joins() && info.formKnown);
      maybe = !looked || (info.longForm ? info.formView().find(first) != std::string_view::npos
                                        : sameBytes(info.formView(), first));
      i += length;
    }
    if (!maybe) {
      scored = true;
      return kNoScore;
    }
  }
  std::vector<std::uint32_t>& pairs = scratch.pairs;
  pairs.clear();
  bool firstElsewhere = false;
  std::uint32_t j = 0;  // the character's position
  // The character being read: where it starts, and its one code point's
  // form when it has no extending marks yet.
  std::size_t characterStart = 0;
  const CodePointInfo* alone = nullptr;
  bool open = false;         // whether a character is being read
  bool extended = false;     // whether it has extending marks
  bool breaksAfter = false;  // whether it is a control, which marks do not join
  // Whether the character read so far ends in a pictograph followed by
  // extending marks only (1) or then a zero-width joiner (2), which a
  // pictograph joins; and whether it is one regional indicator alone.
  int emoji = 0;
  bool oneRegional = false;
  // Adds the pairs of the character read so far.
  const auto finish = [&](std::size_t end) __attribute__((always_inline)) {
    std::string_view form;
    bool longForm;
    if (extended) {
      const std::string_view character = candidate.substr(characterStart, end - characterStart);
      auto cached = scratch.foldCache.find(character);
      if (cached == scratch.foldCache.end()) {
        if (scratch.foldCache.size() >= 1024) scratch.foldCache.clear();
        cached = scratch.foldCache.emplace(std::string(character), fold(character)).first;
      }
      form = cached->second;
      longForm = codePointCount(form) > 1;
    } else {
      form = alone->formView();
      longForm = alone->longForm;
    }
    std::uint64_t bits;
    if (form.size() == 1) {
      bits = byteMatches_[static_cast<unsigned char>(form[0])];
    } else {
      bits = 0;
      for (std::uint64_t lead = leadMatches_[static_cast<unsigned char>(form[0])]; lead != 0;
           lead &= lead - 1) {
        const auto t = static_cast<std::size_t>(__builtin_ctzll(lead));
        if (sameBytes(characters_[t], form)) bits |= std::uint64_t{1} << t;
      }
    }
    if (longForm && form.find(first) != std::string_view::npos) firstElsewhere = true;
    for (; bits != 0; bits &= bits - 1) {
      pairs.push_back((j << 6) | static_cast<std::uint32_t>(__builtin_ctzll(bits)));
    }
    ++j;
  };
  for (std::size_t i = 0; i < n;) {
    const unsigned char c = bytes[i];
    if (c < 0x80) {
      if (open) finish(i);
      if (c == '\r' && i + 1 < n && bytes[i + 1] == '\n') return kNoScore;
      // One byte, one character: its pairs at once.
      for (std::uint64_t bits = asciiMatches_[c]; bits != 0; bits &= bits - 1) {
        pairs.push_back((j << 6) | static_cast<std::uint32_t>(__builtin_ctzll(bits)));
      }
      ++j;
      open = false;
      breaksAfter = c < 0x20 || c == 0x7F;
      emoji = 0;
      oneRegional = false;
      ++i;
      continue;
    }
    char32_t codePoint;
    const std::size_t length = decodeUTF8(bytes + i, bytes + n, codePoint);
    if (length == 0) return kNoScore;
    const CodePointInfo& info = codePointInfo(codePoint);
    const bool joinsEmoji = info.kind == CodePointInfo::kPictograph && open && emoji == 2;
    const bool joinsFlag = info.kind == CodePointInfo::kRegional && open && oneRegional;
    if (info.kind == CodePointInfo::kExtends || info.kind == CodePointInfo::kSpacing ||
        info.kind == CodePointInfo::kJoiner || joinsEmoji || joinsFlag) {
      // Joins the character before it; a mark after a control (or at the
      // start) is left to the general segmentation.
      if (breaksAfter || (!open && j == 0)) return kNoScore;
      switch (info.kind) {
        case CodePointInfo::kExtends:
          emoji = emoji == 1 ? 1 : 0;
          break;
        case CodePointInfo::kJoiner:
          emoji = emoji == 1 ? 2 : 0;
          break;
        case CodePointInfo::kPictograph:
          emoji = 1;
          break;
        default:
          emoji = 0;
      }
      oneRegional = false;
      if (!open) {
        // The character before is ASCII, whose pairs are written: take them
        // back and read it again with its marks.
        while (!pairs.empty() && (pairs.back() >> 6) == j - 1) pairs.pop_back();
        --j;
        characterStart = i - 1;
        open = true;
      }
      extended = true;
      i += length;
      continue;
    }
    if (info.kind == CodePointInfo::kIntricate) return kNoScore;
    if (open) finish(i);
    characterStart = i;
    alone = &info;
    open = true;
    extended = false;
    breaksAfter = false;
    emoji = info.kind == CodePointInfo::kPictograph ? 1 : 0;
    oneRegional = info.kind == CodePointInfo::kRegional;
    i += length;
  }
  if (open) finish(n);
  scored = true;
  if (j <= 64) {
    std::uint64_t masks[64];
    std::fill_n(masks, characters_.size(), std::uint64_t{0});
    for (const std::uint32_t pair : pairs) masks[pair & 63u] |= std::uint64_t{1} << (pair >> 6);
    return scoreMasks(masks, characters_.size(), firstElsewhere);
  }
  return scorePairs(pairs.data(), pairs.size(), characters_.size(), firstElsewhere);
}

FuzzyMatcher::AsciiMasks FuzzyMatcher::asciiMasks(std::string_view candidate,
                                                  std::uint64_t* masks) const {
  const std::size_t n = candidate.size();
  const std::size_t m = std::min<std::size_t>(characters_.size(), 64);
  // A form beyond one ASCII byte cannot occur in plain ASCII text: without
  // the first term character or the last there is no score.
  const bool scorable = shortFormOf_[0] >= 0 && shortFormOf_[m - 1] >= 0;
#if defined(__SSE2__)
  // The text copied into 64 zeroed bytes, read as four blocks of sixteen
  // whose comparisons combine into one 64-bit mask (bit j for byte j).
  alignas(16) unsigned char bytes[64];
  const __m128i zero = _mm_setzero_si128();
  for (std::size_t k = 0; k < 64; k += 16)
    _mm_store_si128(reinterpret_cast<__m128i*>(bytes + k), zero);
  std::memcpy(bytes, candidate.data(), n);
  __m128i blocks[4];
  for (std::size_t k = 0; k < 4; ++k) {
    blocks[k] = _mm_load_si128(reinterpret_cast<const __m128i*>(bytes + 16 * k));
  }
  const auto bitsOf = [](__m128i b0, __m128i b1, __m128i b2, __m128i b3) {
    const auto part = [](__m128i b) {
      return static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm_movemask_epi8(b)));
    };
    return part(b0) | (part(b1) << 16) | (part(b2) << 32) | (part(b3) << 48);
  };
  const auto matching = [&](unsigned char byte) {
    const __m128i target = _mm_set1_epi8(static_cast<char>(byte));
    return bitsOf(_mm_cmpeq_epi8(blocks[0], target), _mm_cmpeq_epi8(blocks[1], target),
                  _mm_cmpeq_epi8(blocks[2], target), _mm_cmpeq_epi8(blocks[3], target));
  };
  if (bitsOf(blocks[0], blocks[1], blocks[2], blocks[3]) != 0) return AsciiMasks::notPlain;
  if (const std::uint64_t cr = matching('\r'); cr != 0 && (cr & (matching('\n') >> 1)) != 0) {
    return AsciiMasks::notPlain;
  }
  if (!scorable) return AsciiMasks::noScore;
  // Lower-cased once (A to Z only: the bytes are ASCII, so signed compares
  // serve), then compared with each form, the first and last term
  // characters' first.
  for (std::size_t k = 0; k < 4; ++k) {
    const __m128i upper = _mm_and_si128(_mm_cmpgt_epi8(blocks[k], _mm_set1_epi8('A' - 1)),
                                        _mm_cmplt_epi8(blocks[k], _mm_set1_epi8('Z' + 1)));
    blocks[k] = _mm_or_si128(blocks[k], _mm_and_si128(upper, _mm_set1_epi8(0x20)));
  }
  const std::uint64_t inText = n == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << n) - 1;
  const auto formMask = [&](std::size_t t) {
    return matching(shortForms_[static_cast<std::size_t>(shortFormOf_[t])]) & inText;
  };
  masks[0] = formMask(0);
  if (masks[0] == 0) return AsciiMasks::noScore;
  masks[m - 1] = formMask(m - 1);
  if (masks[m - 1] == 0) return AsciiMasks::noScore;
  for (std::size_t t = 1; t + 1 < m; ++t) masks[t] = shortFormOf_[t] >= 0 ? formMask(t) : 0;
#else
  if (!isPlainAscii(candidate)) return AsciiMasks::notPlain;
  if (!scorable) return AsciiMasks::noScore;
  std::fill_n(masks, m, std::uint64_t{0});
  for (std::size_t j = 0; j < n; ++j) {
    for (std::uint64_t bits = asciiMatches_[static_cast<unsigned char>(candidate[j])]; bits != 0;
         bits &= bits - 1) {
      masks[__builtin_ctzll(bits)] |= std::uint64_t{1} << j;
    }
  }
#endif
  return AsciiMasks::filled;
}

bool FuzzyMatcher::wholeTextContainsFirst(std::string_view candidate) const {
  return unicode::normalizedNFC(unicode::lowercased(candidate)).find(characters_[0]) !=
         std::string::npos;
}

std::optional<float> FuzzyMatcher::score(std::string_view candidate) const {
  thread_local Scratch scratch;
  return score(candidate, scratch);
}

PackedScore FuzzyMatcher::scoreText(std::string_view candidate, Scratch& scratch) const {
  if (characters_.empty()) return kNoScore;
  const std::size_t terms = characters_.size();
  // With a first term character beyond ASCII, `score` has turned ASCII
  // candidates away (and the one-pass scorer does not apply).
  if (!firstBeyondAscii_ && terms <= 64 && candidate.size() <= 64) {
    std::uint64_t masks[64];
    switch (asciiMasks(candidate, masks)) {
      case AsciiMasks::filled:
        return scoreMasks(masks, terms, false);
      case AsciiMasks::noScore:
        return kNoScore;
      case AsciiMasks::notPlain:
        break;
    }
  }
  if (onePass_) {
    bool scored = false;
    PackedScore result = scoreInOnePass(candidate, scratch, scored);
    if (scored) return result;
  }
  if (byCodePoint_) {
    bool scored = false;
    PackedScore result = scoreByCodePoint(candidate, scratch, scored);
    if (scored) return result;
  }
  return scoreGenerally(candidate, scratch);
}

PackedScore FuzzyMatcher::scoreGenerally(std::string_view candidate, Scratch& scratch) const {
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
  // The candidate is lower-cased as a whole text for this test: a capital
  // sigma becomes a final sigma at the end of a word (only there). Cut into
  // characters, each is lower-cased on its own.
  if (firstHasSigma_ && candidate.find("\xce\xa3") != std::string_view::npos) {
    containsFirst = wholeTextContainsFirst(candidate);
  }
  if (!containsFirst) return kNoScore;

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
  return result ? packScore(*result) : kNoScore;
}

namespace detail {

void sortByScoreDescending(std::vector<FuzzyKept>& kept) {
  const auto byScore = [](const FuzzyKept& lhs, const FuzzyKept& rhs) {
    return lhs.score > rhs.score;
  };
  const std::size_t n = kept.size();
  if (n < 64 || std::any_of(kept.begin(), kept.end(),
                            [](const FuzzyKept& entry) { return std::isnan(entry.score); })) {
    // NaN compares false both ways, which is no ordering: only the very same
    // merge sort gives the same order.
    std::stable_sort(kept.begin(), kept.end(), byScore);
    return;
  }
  // Without NaN the stable order is unique; a radix sort finds it in at most
  // three passes over keys that order like the scores, highest first (0 and
  // -0 compare equal, so both get the key of 0).
  const auto keyOf = [](float score) noexcept {
    std::uint32_t bits;
    std::memcpy(&bits, &score, sizeof bits);
    bits = bits == 0x80000000u ? 0u : bits;
    const std::uint32_t ascending = (bits & 0x80000000u) ? ~bits : (bits | 0x80000000u);
    return ~ascending;
  };
  // Three digits of 11 bits (the counts of a digit fit in the first-level
  // cache): one pass fewer than bytes.
  constexpr int kDigits = 3;
  constexpr int kBits = 11;
  constexpr std::uint32_t kMask = (1u << kBits) - 1;
  std::vector<std::uint32_t> counts(std::size_t{kDigits} << kBits, 0);
  for (const FuzzyKept& entry : kept) {
    const std::uint32_t key = keyOf(entry.score);
    for (int digit = 0; digit < kDigits; ++digit) {
      ++counts[(static_cast<std::size_t>(digit) << kBits) | ((key >> (kBits * digit)) & kMask)];
    }
  }
  std::vector<FuzzyKept> spare(n);
  for (int digit = 0; digit < kDigits; ++digit) {
    std::uint32_t* count = counts.data() + (static_cast<std::size_t>(digit) << kBits);
    const int shift = kBits * digit;
    if (count[(keyOf(kept[0].score) >> shift) & kMask] == n) continue;  // one value
    std::uint32_t offset = 0;
    for (std::uint32_t i = 0; i <= kMask; ++i) {
      const std::uint32_t here = count[i];
      count[i] = offset;
      offset += here;
    }
    for (const FuzzyKept& entry : kept)
      spare[count[(keyOf(entry.score) >> shift) & kMask]++] = entry;
    kept.swap(spare);
  }
}

}  // namespace detail

std::optional<float> fuzzyMatchScore(std::string_view candidate, std::string_view term) {
  return FuzzyMatcher(term).score(candidate);
}

}  // namespace zorlan
