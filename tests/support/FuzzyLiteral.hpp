// Fuzzy scoring and fuzzy search written literally, step by step, from the algorithm's
// description: term and candidate lower-cased (the candidate as a whole for the first-character
// rule, checked first, then character by character), one dynamic-programme row reused from
// candidate to candidate and filled from the last position backwards, a byte-by-byte path for
// plain ASCII, and the best earlier entry searched afresh at each matching position. The tests
// check the library's scorer against it bit for bit; the benchmarks time the library against it.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zorlan/Platform/Unicode.hpp"

namespace zorlan::literal {

// A character's lower-cased form, composed, so that canonically equivalent characters are equal.
inline std::string lowerForm(std::string_view text) {
  return unicode::normalizedNFC(unicode::lowercased(text));
}

// Whether every byte of `text` is a character of its own: ASCII without CR LF.
inline bool isPlainAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return c & 0x80; }) &&
         text.find("\r\n") == std::string_view::npos;
}

class Matcher {
 public:
  explicit Matcher(std::string_view term) {
    for (const std::string_view character : unicode::characters(term)) {
      forms_.push_back(lowerForm(character));
      bytes_.push_back(forms_.back().size() == 1 ? static_cast<unsigned char>(forms_.back()[0])
                                                 : -1);
    }
  }

  // Not const: the buffers are reused from call to call.
  std::optional<float> score(std::string_view candidate) {
    // 1. An empty term has no score.
    if (forms_.empty()) return std::nullopt;
    const bool ascii = isPlainAscii(candidate);
    // 2. The lower-cased candidate must contain the term's first character.
    if (ascii) {
      lowered_.assign(candidate);
      for (char& c : lowered_) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
      }
    } else {
      lowered_ = lowerForm(candidate);
    }
    if (lowered_.find(forms_.front()) == std::string::npos) return std::nullopt;
    // The candidate's characters, each lower-cased on its own.
    std::size_t n = lowered_.size();
    if (!ascii) {
      const std::vector<std::string_view> characters = unicode::characters(candidate);
      n = characters.size();
      if (characterForms_.size() < n) characterForms_.resize(n);
      for (std::size_t j = 0; j < n; ++j) characterForms_[j] = lowerForm(characters[j]);
    }
    // 3. One row of n absent entries.
    row_.assign(n, std::nullopt);
    constexpr float kMostNegative = -3.4028235e38f;
    const auto valueOf = [](const std::optional<float>& entry) {
      return entry ? *entry : kMostNegative;
    };
    // 4. For each term character, the new row replaces the previous one from the last
    // position backwards.
    for (std::size_t t = 0; t < forms_.size(); ++t) {
      for (std::size_t j = n; j-- > 0;) {
        const bool matches = ascii ? bytes_[t] == static_cast<unsigned char>(lowered_[j])
                                   : characterForms_[j] == forms_[t];
        if (!matches) {
          row_[j].reset();
          continue;
        }
        std::size_t k = 0;
        for (std::size_t i = 1; i <= j; ++i) {
          if (valueOf(row_[k]) <= valueOf(row_[i])) k = i;
        }
        const float gap = static_cast<float>(static_cast<long>(j) - static_cast<long>(k) - 1);
        row_[j] = row_[k] ? (*row_[k] + 1.0f) - std::sqrt(gap) : 1.0f;
      }
    }
    // 5. The greatest present entry, by strict greater-than.
    std::optional<float> result;
    for (const std::optional<float>& entry : row_) {
      if (entry && (!result || *entry > *result)) result = entry;
    }
    return result;
  }

 private:
  std::vector<std::string> forms_;
  std::vector<int> bytes_;  // a form's one byte, or -1
  std::string lowered_;
  std::vector<std::string> characterForms_;
  std::vector<std::optional<float>> row_;
};

inline std::optional<float> fuzzyMatchScore(std::string_view candidate, std::string_view term) {
  return Matcher(term).score(candidate);
}

template <class T, class TextOf, class OverrideOf>
std::vector<T> fuzzySearch(const std::vector<T>& elements, std::optional<std::string_view> term,
                           TextOf textOf, OverrideOf overrideOf) {
  if (!term || term->empty()) return elements;
  Matcher matcher(*term);
  std::vector<std::pair<std::size_t, float>> pairs;
  for (std::size_t index = 0; index < elements.size(); ++index) {
    std::optional<float> score;
    if (const auto text = textOf(elements[index])) score = matcher.score(std::string_view(*text));
    const std::optional<bool> forced = overrideOf(elements[index]);
    if (!forced) {
      if (score) pairs.emplace_back(index, *score);
    } else if (*forced) {
      pairs.emplace_back(index, score && *score > 1.0f ? *score : 1.0f);
    }
  }
  std::stable_sort(pairs.begin(), pairs.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  std::vector<T> result;
  result.reserve(pairs.size());
  for (const auto& pair : pairs) result.push_back(elements[pair.first]);
  return result;
}

}  // namespace zorlan::literal
