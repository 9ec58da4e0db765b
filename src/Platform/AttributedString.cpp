#include "zorlan/Platform/AttributedString.hpp"

#include <algorithm>

namespace zorlan {

AttributedString::AttributedString(std::string text, TextAttributes attributes)
    : text_(std::move(text)) {
  if (!text_.empty()) runs_.push_back(Run{0, text_.size(), std::move(attributes)});
}

const TextAttributes& AttributedString::attributesAt(std::size_t offset) const noexcept {
  static const TextAttributes kNone;
  const auto run = std::upper_bound(runs_.begin(), runs_.end(), offset,
                                    [](std::size_t value, const Run& r) { return value < r.end; });
  return run == runs_.end() ? kNone : run->attributes;
}

void AttributedString::append(std::string_view text, const TextAttributes& attributes) {
  if (text.empty()) return;
  const std::size_t begin = text_.size();
  text_.append(text);
  if (!runs_.empty() && runs_.back().attributes == attributes) {
    runs_.back().end = text_.size();
  } else {
    runs_.push_back(Run{begin, text_.size(), attributes});
  }
}

void AttributedString::append(const AttributedString& other) {
  if (&other == this) {
    const AttributedString copy = other;
    append(copy);
    return;
  }
  for (const Run& run : other.runs_) {
    append(std::string_view(other.text_).substr(run.begin, run.end - run.begin), run.attributes);
  }
}

AttributedString AttributedString::substring(std::size_t begin, std::size_t end) const {
  end = std::min(end, text_.size());
  begin = std::min(begin, end);
  AttributedString result;
  for (const Run& run : runs_) {
    const std::size_t from = std::max(run.begin, begin);
    const std::size_t to = std::min(run.end, end);
    if (from < to) result.append(std::string_view(text_).substr(from, to - from), run.attributes);
  }
  return result;
}

}  // namespace zorlan
