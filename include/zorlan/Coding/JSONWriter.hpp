// JSONWriter: JSON text from a JSON tree, in the form the library's encoder
// writes: numbers in shortest round-trip form (3, 1.5), "/" escaped unless
// asked otherwise, compact or pretty-printed, keys in order or sorted.
#pragma once

#include <boost/json/value.hpp>
#include <cstddef>
#include <string>
#include <string_view>

namespace zorlan {

struct JSONWritingOptions {
  // Two-space indentation, one member or element per line, " : " after keys.
  bool prettyPrinted = false;
  // Object keys in byte order.
  bool sortedKeys = false;
  // Write "/" as is instead of "\/".
  bool withoutEscapingSlashes = false;
};

// Writes `value` as JSON text. Non-finite numbers cannot occur in a tree the
// encoder built; any that do are written as null. Strings and keys must be
// UTF-8: others throw EncodingError.invalidValue. Throws
// EncodingError.invalidValue for objects and arrays nested deeper than
// kMaxCodingDepth (the decoder could not read them back). Thread-safe.
std::string writeJSON(const boost::json::value& value, const JSONWritingOptions& options = {});
// Appends to `out`.
void writeJSON(const boost::json::value& value, const JSONWritingOptions& options,
               std::string& out);

// The pieces of the above, for writers that produce JSON text without a
// tree (the log file writes its events this way), at a pointer with room
// enough; each returns the end of what it wrote.
//
// Writes `text` as a JSON string; `out` must have room for
// maxJSONStringSize(text.size()) bytes. Throws EncodingError.invalidValue
// when `text` is not UTF-8 (having written part of it).
char* writeJSONString(std::string_view text, const JSONWritingOptions& options, char* out);
constexpr std::size_t maxJSONStringSize(std::size_t size) noexcept { return 6 * size + 2; }
// Exactly the number of bytes writeJSONString writes for `text` (for long
// texts, where the bound above would reserve far too much). Throws as it does.
std::size_t jsonStringSize(std::string_view text, const JSONWritingOptions& options);
// Room enough for writeJSONString: the bound above for short texts, the exact
// size for long ones. Throws as writeJSONString does (for long texts only).
inline std::size_t jsonStringRoom(std::string_view text, const JSONWritingOptions& options) {
  return text.size() <= 4096 ? maxJSONStringSize(text.size()) : jsonStringSize(text, options);
}
// Writes `number` as the writer does: integral values without a fraction,
// others in shortest round-trip form, non-finite ones as null. `out` must
// have room for kMaxJSONNumberSize bytes.
char* writeJSONNumber(double number, char* out);
inline constexpr std::size_t kMaxJSONNumberSize = 32;
// As the two above, appending to `out`.
void appendJSONString(std::string_view text, const JSONWritingOptions& options, std::string& out);
void appendJSONNumber(double number, std::string& out);

}  // namespace zorlan
