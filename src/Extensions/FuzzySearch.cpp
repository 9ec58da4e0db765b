#include "zorlan/Extensions/FuzzySearch.hpp"

#include <cmath>
#include <cstdint>
#include <limits>

#include "zorlan/Platform/Unicode.hpp"

namespace zorlan {
namespace {

// A character's form for comparison: lower-cased, then composed.
std::string fold(std::string_view character) {
  if (character.size() == 1 && static_cast<unsigned char>(character[0]) < 0x80) {
    const char c = character[0];
    return std::string(1, c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
  }
  return unicode::normalizedNFC(unicode::lowercased(character));
}

bool isAscii(std::string_view text) noexcept {
  for (unsigned char c : text) {
    if (c >= 0x80) return false;
  }
  return true;
}

// A candidate's characters, folded, as ranges of one buffer; and the score rows.
struct Scratch {
  std::string folded;
  std::vector<std::uint32_t> starts;  // n + 1 offsets into `folded`
  std::vector<float> previous, current;
  std::vector<std::uint8_t> previousPresent, currentPresent;

  std::string_view character(std::size_t j) const noexcept {
    return std::string_view(folded).substr(starts[j], starts[j + 1] - starts[j]);
  }
};

void foldCandidate(std::string_view candidate, Scratch& scratch) {
  scratch.folded.clear();
  scratch.starts.clear();
  if (isAscii(candidate)) {
    // Bytes are characters, except CR LF; lower-casing is per byte.
    scratch.folded.resize(candidate.size());
    for (std::size_t i = 0; i < candidate.size(); ++i) {
      const char c = candidate[i];
      scratch.folded[i] = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
      if (!(c == '\n' && i > 0 && candidate[i - 1] == '\r')) {
        scratch.starts.push_back(static_cast<std::uint32_t>(i));
      }
    }
  } else {
    for (const std::string_view character : unicode::characters(candidate)) {
      scratch.starts.push_back(static_cast<std::uint32_t>(scratch.folded.size()));
      scratch.folded += fold(character);
    }
  }
  scratch.starts.push_back(static_cast<std::uint32_t>(scratch.folded.size()));
}

}  // namespace

FuzzyMatcher::FuzzyMatcher(std::string_view term) {
  for (const std::string_view character : unicode::characters(term)) {
    characters_.push_back(fold(character));
  }
}

std::optional<float> FuzzyMatcher::score(std::string_view candidate) const {
  if (characters_.empty()) return std::nullopt;
  thread_local Scratch scratch;
  foldCandidate(candidate, scratch);
  if (scratch.folded.find(characters_.front()) == std::string::npos) return std::nullopt;

  // Absent entries take part in comparisons as the most negative finite float.
  constexpr float kAbsent = -std::numeric_limits<float>::max();
  const std::size_t n = scratch.starts.size() - 1;
  scratch.previous.assign(n, kAbsent);
  scratch.previousPresent.assign(n, 0);
  for (const std::string& termCharacter : characters_) {
    scratch.current.assign(n, kAbsent);
    scratch.currentPresent.assign(n, 0);
    const float* previous = scratch.previous.data();
    // The best earlier entry over positions 0..j is a running choice: moving
    // from j - 1 to j only adds the comparison with position j. A choice that
    // holds NaN is never replaced, since every comparison with NaN is false.
    std::size_t best = 0;
    for (std::size_t j = 0; j < n; ++j) {
      if (j > 0 && previous[best] <= previous[j]) best = j;
      if (scratch.character(j) != termCharacter) continue;
      scratch.currentPresent[j] = 1;
      if (!scratch.previousPresent[best]) {
        scratch.current[j] = 1.0f;
      } else {
        const auto gap = static_cast<std::int64_t>(j) - static_cast<std::int64_t>(best) - 1;
        scratch.current[j] = (previous[best] + 1.0f) - std::sqrt(static_cast<float>(gap));
      }
    }
    scratch.previous.swap(scratch.current);
    scratch.previousPresent.swap(scratch.currentPresent);
  }

  std::optional<float> result;
  for (std::size_t j = 0; j < n; ++j) {
    if (!scratch.previousPresent[j]) continue;
    if (!result || scratch.previous[j] > *result) result = scratch.previous[j];
  }
  return result;
}

std::optional<float> fuzzyMatchScore(std::string_view candidate, std::string_view term) {
  return FuzzyMatcher(term).score(candidate);
}

}  // namespace zorlan
