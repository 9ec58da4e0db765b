// TextStyleRule: a styling rule for subtitles and captions, read from a
// stored property list (XML or binary).
//
//   if (auto rules = zorlan::textStyleRules(storedBytes)) {
//     for (const auto& rule : *rules) renderer.apply(rule);
//   }
//
// The property list is an array of dictionaries (a single dictionary is read
// as an array of one). Each dictionary is one rule:
//   "textSelector"          string, optional: the text the rule applies to
//                           (absent: all text)
//   "textMarkupAttributes"  dictionary of the attributes below
// Attributes (each optional; a value of the wrong type or out of range is
// ignored, unknown keys too):
//   "ForegroundColorARGB", "BackgroundColorARGB", "CharacterBackgroundColorARGB"
//                           array of four numbers in [0, 1]: alpha, red, green, blue
//   "FontFamilyName"        string
//   "RelativeFontSize"      number above 0: percent of the default size
//   "BoldStyle", "ItalicStyle", "UnderlineStyle"
//                           boolean
//   "CharacterEdgeStyle"    "None", "Raised", "Depressed", "Uniform" or "DropShadow"
//   "Alignment"             "Start", "Middle", "End", "Left" or "Right"
// A rule is built when its dictionary has at least one such attribute with a
// usable value; other elements are skipped.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zorlan/Platform/Data.hpp"

namespace zorlan {

struct TextStyleRule {
  // A colour with components in [0, 1].
  struct ARGB {
    double alpha = 1;
    double red = 0;
    double green = 0;
    double blue = 0;
    friend bool operator==(const ARGB&, const ARGB&) = default;
  };
  enum class EdgeStyle { none, raised, depressed, uniform, dropShadow };
  enum class Alignment { start, middle, end, left, right };

  std::optional<std::string> textSelector;
  std::optional<ARGB> foregroundColor;
  std::optional<ARGB> backgroundColor;
  std::optional<ARGB> characterBackgroundColor;
  std::optional<std::string> fontFamilyName;
  std::optional<double> relativeFontSize;  // percent
  std::optional<bool> bold;
  std::optional<bool> italic;
  std::optional<bool> underline;
  std::optional<EdgeStyle> characterEdgeStyle;
  std::optional<Alignment> alignment;

  friend bool operator==(const TextStyleRule&, const TextStyleRule&) = default;
};

// The rules `data` holds as a property list, in the list's order. Absent when
// the data is not a property list (XML or binary) or no rule is built. When
// the data is not a property list, or is a binary one of more than 4096
// objects (refused unread: reading deeply nested binary lists takes time
// quadratic in their depth), logs on `Log::shared()` at level error, source
// "Extensions/Data+AVTextStyleRules", line 19, function "textStyleRules()":
//   "Error converting data to [AVTextStyleRule]: <why>"
// Never throws (except std::bad_alloc).
std::optional<std::vector<TextStyleRule>> textStyleRules(const Data& data);

}  // namespace zorlan
