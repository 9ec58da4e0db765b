// Reads arbitrary bytes as an untyped dictionary under every combination of
// reading options, merges what it read with itself, writes it back and reads
// the text again: nothing may crash, and what is written must read back equal.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "zorlan/JSON/JSONMerge.hpp"
#include "zorlan/JSON/JSONSerialization.hpp"
#include "zorlan/JSON/JSONStringCoding.hpp"

namespace {

void check(bool condition) {
  if (!condition) std::abort();
}

// Equal values, numbers compared by value: the writer prints 1.0 as 1, which
// reads back as an integer.
bool equivalent(const boost::json::value& a, const boost::json::value& b) {
  if (a.is_number() && b.is_number()) {
    if (a.is_double() || b.is_double()) return a.to_number<double>() == b.to_number<double>();
    return a == b;
  }
  if (a.kind() != b.kind()) return false;
  if (a.is_array()) {
    const auto& x = a.get_array();
    const auto& y = b.get_array();
    if (x.size() != y.size()) return false;
    for (std::size_t i = 0; i < x.size(); ++i) {
      if (!equivalent(x[i], y[i])) return false;
    }
    return true;
  }
  if (a.is_object()) {
    const auto& x = a.get_object();
    const auto& y = b.get_object();
    if (x.size() != y.size()) return false;
    for (const auto& member : x) {
      auto it = y.find(member.key());
      if (it == y.end() || !equivalent(member.value(), it->value())) return false;
    }
    return true;
  }
  return a == b;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // The first byte chooses the options.
  zorlan::JSONReadingOptions options;
  options.fragmentsAllowed = data[0] & 1;
  options.allowComments = data[0] & 2;
  options.allowTrailingCommas = data[0] & 4;
  std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);

  zorlan::JSONDictionary dictionary;
  try {
    dictionary = zorlan::JSONSerialization::json(text, options);
  } catch (const zorlan::JSONReadingError&) {
    return 0;
  } catch (const zorlan::JSONSerializationError&) {
    return 0;
  }

  // Merging a dictionary with itself gives itself.
  check(zorlan::mergeKeys(dictionary, dictionary) == dictionary);
  check(zorlan::mergeKeys(dictionary, {}) == dictionary);
  check(zorlan::mergeKeys({}, dictionary) == dictionary);

  // What was read is written and reads back the same, except numbers beyond
  // double (read as infinity), which cannot be written.
  std::string written;
  try {
    written = zorlan::JSONSerialization::string(dictionary);
  } catch (const zorlan::EncodingError&) {
    return 0;
  }
  check(equivalent(zorlan::JSONSerialization::json(std::string_view(written)), dictionary));
  // Pretty-printed and sorted text reads back the same too.
  zorlan::JSONWritingOptions pretty;
  pretty.prettyPrinted = true;
  pretty.sortedKeys = true;
  pretty.withoutEscapingSlashes = data[0] & 8;
  check(equivalent(
      zorlan::JSONSerialization::json(zorlan::JSONSerialization::string(dictionary, pretty)),
      dictionary));

  // The text in UTF-16 and back is the same text.
  auto utf16 = zorlan::encodeText(written, zorlan::StringEncoding::utf16);
  check(utf16.has_value());
  check(zorlan::decodeText(*utf16, zorlan::StringEncoding::utf16) == written);
  return 0;
}
