#include "zorlan/Text/AttributedStringUtilities.hpp"

#include <string>

namespace zorlan {

AttributedString operator+(const AttributedString& lhs, const AttributedString& rhs) {
  AttributedString result = lhs;
  result.append(rhs);
  return result;
}

AttributedString operator+(const AttributedString& lhs, std::string_view text) {
  AttributedString result = lhs;
  result.append(text);
  return result;
}

AttributedString joined(const std::vector<AttributedString>& elements, std::string_view separator) {
  AttributedString result;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (i > 0) result.append(separator);
    result.append(elements[i]);
  }
  return result;
}

const AttributedString& emptyAttributedString() {
  static const AttributedString kEmpty;
  return kEmpty;
}

std::optional<AttributedString> nonEmpty(const AttributedString& text) {
  if (text.length() < 1) return std::nullopt;
  return text;
}

std::vector<AttributedString> chunked(const AttributedString& text,
                                      const std::vector<std::string>& separators) {
  const std::string_view whole = text.string();
  constexpr auto kNone = std::string_view::npos;
  // The next occurrence of each separator at or after `start`, found lazily.
  std::vector<std::size_t> next(separators.size(), 0);
  std::vector<bool> searched(separators.size(), false);
  std::vector<AttributedString> pieces;
  std::size_t start = 0;
  while (true) {
    std::size_t chosen = kNone;
    std::size_t chosenAt = kNone;
    for (std::size_t s = 0; s < separators.size(); ++s) {
      if (separators[s].empty()) continue;
      if (!searched[s] || (next[s] != kNone && next[s] < start)) {
        next[s] = whole.find(separators[s], start);
        searched[s] = true;
      }
      // `<=`: at the same place, the later separator wins.
      if (next[s] != kNone && (chosenAt == kNone || next[s] <= chosenAt)) {
        chosen = s;
        chosenAt = next[s];
      }
    }
    if (chosen == kNone) break;
    pieces.push_back(text.substring(start, chosenAt));
    start = chosenAt + separators[chosen].size();
  }
  pieces.push_back(text.substring(start, whole.size()));
  return pieces;
}

}  // namespace zorlan
