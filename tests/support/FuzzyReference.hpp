// A plain implementation of fuzzy scoring and fuzzy search, written step by
// step from the algorithm's description (quadratic search for the best earlier
// entry included), to check the library's fast scorer against and to time it.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zorlan/Platform/Unicode.hpp"

namespace zorlan::reference {

// A character's lower-cased form, composed, so that equal texts compare equal.
inline std::string lowerForm(std::string_view character) {
  return unicode::normalizedNFC(unicode::lowercased(character));
}

inline std::optional<float> fuzzyMatchScore(std::string_view candidateText,
                                            std::string_view termText) {
  const std::vector<std::string_view> term = unicode::characters(termText);
  // 1. An empty term has no score.
  if (term.empty()) return std::nullopt;
  // 2. The lower-cased candidate (character by character) must contain the
  // term's first character.
  const std::vector<std::string_view> characters = unicode::characters(candidateText);
  std::vector<std::string> candidate;
  std::string lowered;
  for (const auto character : characters) {
    candidate.push_back(lowerForm(character));
    lowered += candidate.back();
  }
  if (lowered.find(lowerForm(term.front())) == std::string::npos) return std::nullopt;
  // 3. One row of n optional floats.
  const std::size_t n = candidate.size();
  std::vector<std::optional<float>> previousRow(n);
  constexpr float kMostNegative = -3.4028235e38f;
  const auto valueOf = [](const std::optional<float>& entry) {
    return entry ? *entry : kMostNegative;
  };
  // 4. One new row per term character.
  for (const auto termCharacter : term) {
    const std::string t = lowerForm(termCharacter);
    std::vector<std::optional<float>> row(n);
    for (std::size_t j = 0; j < n; ++j) {
      if (candidate[j] != t) continue;
      std::size_t k = 0;
      for (std::size_t i = 1; i <= j; ++i) {
        if (valueOf(previousRow[k]) <= valueOf(previousRow[i])) k = i;
      }
      if (!previousRow[k]) {
        row[j] = 1.0f;
      } else {
        const float gap = static_cast<float>(static_cast<long>(j) - static_cast<long>(k) - 1);
        row[j] = (*previousRow[k] + 1.0f) - std::sqrt(gap);
      }
    }
    previousRow = std::move(row);
  }
  // 5. The greatest present entry, by strict greater-than.
  std::optional<float> result;
  for (const auto& entry : previousRow) {
    if (entry && (!result || *entry > *result)) result = entry;
  }
  return result;
}

template <class T, class TextOf, class OverrideOf>
std::vector<T> fuzzySearch(const std::vector<T>& elements, std::optional<std::string_view> term,
                           TextOf textOf, OverrideOf overrideOf) {
  if (!term || term->empty()) return elements;
  std::vector<std::pair<T, float>> pairs;
  for (const T& element : elements) {
    std::optional<std::pair<T, float>> candidate;
    if (const auto text = textOf(element)) {
      if (const auto score = fuzzyMatchScore(*text, *term)) candidate.emplace(element, *score);
    }
    const std::optional<bool> forced = overrideOf(element);
    if (!forced) {
      if (candidate) pairs.push_back(*candidate);
    } else if (*forced) {
      if (candidate && candidate->second > 1.0f) {
        pairs.push_back(*candidate);
      } else {
        pairs.emplace_back(element, 1.0f);
      }
    }
  }
  std::stable_sort(pairs.begin(), pairs.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  std::vector<T> result;
  for (const auto& pair : pairs) result.push_back(pair.first);
  return result;
}

}  // namespace zorlan::reference
