// AttributedString: UTF-8 text with attributes (named text properties such as
// a font or a colour) over ranges of it.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zorlan {

// Named attribute values over a range of text, such as {"font": "Body"}.
using TextAttributes = std::map<std::string, std::string, std::less<>>;

// Text and the attributes of each part of it. The runs partition the text: they
// are in order, non-empty, cover every byte, and two neighbours never carry
// equal attributes (text without attributes has a run with an empty map).
// Ranges are byte offsets into the UTF-8 text. A value type; thread-safe as any
// value.
class AttributedString {
 public:
  // One stretch of text with the same attributes: bytes [begin, end).
  struct Run {
    std::size_t begin = 0;
    std::size_t end = 0;
    TextAttributes attributes;

    friend bool operator==(const Run&, const Run&) = default;
  };

  // The empty text.
  AttributedString() = default;
  // `text`, all of it with `attributes`.
  explicit AttributedString(std::string text, TextAttributes attributes = {});

  const std::string& string() const noexcept { return text_; }
  const std::vector<Run>& runs() const noexcept { return runs_; }
  // The length in bytes.
  std::size_t length() const noexcept { return text_.size(); }
  bool isEmpty() const noexcept { return text_.empty(); }

  // The attributes at byte `offset`; empty when `offset` is past the end.
  const TextAttributes& attributesAt(std::size_t offset) const noexcept;

  // Adds `other` at the end, with its attributes.
  void append(const AttributedString& other);
  // Adds `text` at the end with `attributes`.
  void append(std::string_view text, const TextAttributes& attributes = {});

  // Bytes [begin, end) with their attributes; both bounds are clamped to the
  // length (and `begin` to `end`).
  AttributedString substring(std::size_t begin, std::size_t end) const;

  // Same text and same attributes everywhere.
  friend bool operator==(const AttributedString&, const AttributedString&) = default;

 private:
  std::string text_;
  std::vector<Run> runs_;
};

}  // namespace zorlan
