#include "zorlan/Environment/TextStyleRule.hpp"

#include <plist/plist.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>

#include "zorlan/Base/SourceLocation.hpp"
#include "zorlan/Logging/Log.hpp"

namespace zorlan {
namespace {

// The sender named in the failure report.
struct DataTextStyleRules {};

constexpr const char* kFile = "Extensions/Data+AVTextStyleRules";
constexpr int kErrorLine = 19;
constexpr const char* kFunction = "textStyleRules()";

struct PlistDeleter {
  void operator()(plist_t node) const noexcept { plist_free(node); }
};
using PlistHandle = std::unique_ptr<void, PlistDeleter>;

bool isType(plist_t node, plist_type type) noexcept {
  return node != nullptr && plist_get_node_type(node) == type;
}

std::optional<std::string> stringValue(plist_t node) {
  if (!isType(node, PLIST_STRING)) return std::nullopt;
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  if (text == nullptr) return std::nullopt;
  return std::string(text, static_cast<std::size_t>(length));
}

// A real, or an integer read as signed (the library keeps negative integers
// as their two's-complement bits).
std::optional<double> numberValue(plist_t node) {
  if (isType(node, PLIST_REAL)) {
    double value = 0;
    plist_get_real_val(node, &value);
    if (std::isfinite(value)) return value;
  } else if (isType(node, PLIST_UINT)) {
    std::uint64_t bits = 0;
    plist_get_uint_val(node, &bits);
    return static_cast<double>(static_cast<std::int64_t>(bits));
  }
  return std::nullopt;
}

std::optional<bool> boolValue(plist_t node) {
  if (!isType(node, PLIST_BOOLEAN)) return std::nullopt;
  std::uint8_t value = 0;
  plist_get_bool_val(node, &value);
  return value != 0;
}

std::optional<TextStyleRule::ARGB> colorValue(plist_t node) {
  if (!isType(node, PLIST_ARRAY) || plist_array_get_size(node) != 4) return std::nullopt;
  double components[4];
  for (std::uint32_t i = 0; i < 4; ++i) {
    const auto value = numberValue(plist_array_get_item(node, i));
    if (!value || *value < 0 || *value > 1) return std::nullopt;
    components[i] = *value;
  }
  return TextStyleRule::ARGB{components[0], components[1], components[2], components[3]};
}

template <class E, std::size_t N>
std::optional<E> namedValue(plist_t node, const std::pair<std::string_view, E> (&names)[N]) {
  const auto text = stringValue(node);
  if (!text) return std::nullopt;
  for (const auto& [name, value] : names) {
    if (name == *text) return value;
  }
  return std::nullopt;
}

constexpr std::pair<std::string_view, TextStyleRule::EdgeStyle> kEdgeStyles[] = {
    {"None", TextStyleRule::EdgeStyle::none},
    {"Raised", TextStyleRule::EdgeStyle::raised},
    {"Depressed", TextStyleRule::EdgeStyle::depressed},
    {"Uniform", TextStyleRule::EdgeStyle::uniform},
    {"DropShadow", TextStyleRule::EdgeStyle::dropShadow}};
constexpr std::pair<std::string_view, TextStyleRule::Alignment> kAlignments[] = {
    {"Start", TextStyleRule::Alignment::start},
    {"Middle", TextStyleRule::Alignment::middle},
    {"End", TextStyleRule::Alignment::end},
    {"Left", TextStyleRule::Alignment::left},
    {"Right", TextStyleRule::Alignment::right}};

// The rule `element` describes, or absent when it gives no usable attribute.
std::optional<TextStyleRule> makeRule(plist_t element) {
  if (!isType(element, PLIST_DICT)) return std::nullopt;
  plist_t attributes = plist_dict_get_item(element, "textMarkupAttributes");
  if (!isType(attributes, PLIST_DICT)) return std::nullopt;
  auto item = [attributes](const char* key) { return plist_dict_get_item(attributes, key); };
  TextStyleRule rule;
  rule.foregroundColor = colorValue(item("ForegroundColorARGB"));
  rule.backgroundColor = colorValue(item("BackgroundColorARGB"));
  rule.characterBackgroundColor = colorValue(item("CharacterBackgroundColorARGB"));
  rule.fontFamilyName = stringValue(item("FontFamilyName"));
  if (auto size = numberValue(item("RelativeFontSize")); size && *size > 0) {
    rule.relativeFontSize = size;
  }
  rule.bold = boolValue(item("BoldStyle"));
  rule.italic = boolValue(item("ItalicStyle"));
  rule.underline = boolValue(item("UnderlineStyle"));
  rule.characterEdgeStyle = namedValue(item("CharacterEdgeStyle"), kEdgeStyles);
  rule.alignment = namedValue(item("Alignment"), kAlignments);
  if (rule == TextStyleRule{}) return std::nullopt;
  rule.textSelector = stringValue(plist_dict_get_item(element, "textSelector"));
  return rule;
}

// The reader of binary property lists checks each object against its
// ancestors, which costs time quadratic in the nesting depth; rules need a
// few objects each, so lists beyond this many objects are refused unread.
constexpr std::uint64_t kMaxBinaryObjects = 4096;

// The object count in a binary property list's trailer; absent for data
// that is not binary or too short to hold a trailer.
std::optional<std::uint64_t> binaryObjectCount(const std::vector<std::uint8_t>& bytes) noexcept {
  constexpr std::string_view kMagic = "bplist00";
  constexpr std::size_t kTrailerSize = 32;
  if (bytes.size() < kMagic.size() + kTrailerSize ||
      !std::equal(kMagic.begin(), kMagic.end(), bytes.begin())) {
    return std::nullopt;
  }
  // The trailer: six unused bytes, two size bytes, then the count (big-endian).
  std::uint64_t count = 0;
  const std::size_t at = bytes.size() - kTrailerSize + 8;
  for (std::size_t i = 0; i < 8; ++i) count = (count << 8) | bytes[at + i];
  return count;
}

void reportError(std::string_view why) noexcept {
  try {
    Log::shared().error(DataTextStyleRules{},
                        std::string("Error converting data to [AVTextStyleRule]: ") += why,
                        SourceLocation(kFile, kErrorLine, kFunction));
  } catch (...) {
    // Out of memory while reporting: the result stays absent, unreported.
  }
}

}  // namespace

std::optional<std::vector<TextStyleRule>> textStyleRules(const Data& data) {
  const auto& bytes = data.bytes();
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    reportError("The data is too large to be a property list.");
    return std::nullopt;
  }
  if (const auto objects = binaryObjectCount(bytes); objects && *objects > kMaxBinaryObjects) {
    reportError("The binary property list has more than 4096 objects.");
    return std::nullopt;
  }
  plist_t raw = nullptr;
  if (!bytes.empty()) {
    plist_from_memory(reinterpret_cast<const char*>(bytes.data()),
                      static_cast<std::uint32_t>(bytes.size()), &raw);
  }
  const PlistHandle root(raw);
  if (!root) {
    reportError("The data is not a property list in XML or binary format.");
    return std::nullopt;
  }
  std::vector<TextStyleRule> rules;
  if (isType(raw, PLIST_DICT)) {
    if (auto rule = makeRule(raw)) rules.push_back(std::move(*rule));
  } else if (isType(raw, PLIST_ARRAY)) {
    const std::uint32_t count = plist_array_get_size(raw);
    for (std::uint32_t i = 0; i < count; ++i) {
      if (auto rule = makeRule(plist_array_get_item(raw, i))) rules.push_back(std::move(*rule));
    }
  }
  if (rules.empty()) return std::nullopt;
  return rules;
}

}  // namespace zorlan
