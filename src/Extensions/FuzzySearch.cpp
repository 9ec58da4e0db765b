#include "zorlan/Extensions/FuzzySearch.hpp"

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <unordered_map>

#include "zorlan/Platform/Unicode.hpp"

namespace zorlan {
namespace {

char lowerAscii(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

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

void foldUnicode(std::string_view candidate, Scratch& scratch) {
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
    }
  }
}

std::optional<float> FuzzyMatcher::score(std::string_view candidate) const {
  thread_local Scratch scratch;
  return score(candidate, scratch);
}

std::optional<float> FuzzyMatcher::score(std::string_view candidate, Scratch& scratch) const {
  if (characters_.empty()) return std::nullopt;
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
        const bool match = bytes_[t] >= 0
                               ? character.size() == 1 &&
                                     static_cast<unsigned char>(character[0]) == bytes_[t]
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

std::optional<float> fuzzyMatchScore(std::string_view candidate, std::string_view term) {
  return FuzzyMatcher(term).score(candidate);
}

}  // namespace zorlan
