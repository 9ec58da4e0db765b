#include "zorlan/Coding/JSONWriter.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zorlan/Coding/CodingError.hpp"
#include "zorlan/Coding/Decoder.hpp"

namespace zorlan {
namespace {

// Bytes that need an escape: control characters, '"', '\\' and (unless asked
// otherwise) '/'.
constexpr std::array<bool, 256> escapeTable(bool slash) {
  std::array<bool, 256> table{};
  for (int c = 0; c < 0x20; ++c) table[c] = true;
  table['"'] = true;
  table['\\'] = true;
  table['/'] = slash;
  return table;
}
constexpr std::array<bool, 256> kEscapeWithSlash = escapeTable(true);
constexpr std::array<bool, 256> kEscapeWithoutSlash = escapeTable(false);

void writeEscape(unsigned char c, std::string& out) {
  static constexpr char kHex[] = "0123456789abcdef";
  switch (c) {
    case '"':
      out += "\\\"";
      return;
    case '\\':
      out += "\\\\";
      return;
    case '/':
      out += "\\/";
      return;
    case '\n':
      out += "\\n";
      return;
    case '\r':
      out += "\\r";
      return;
    case '\t':
      out += "\\t";
      return;
    case '\b':
      out += "\\b";
      return;
    case '\f':
      out += "\\f";
      return;
    default: {
      const char unicode[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
      out.append(unicode, sizeof unicode);
    }
  }
}

// The length of the UTF-8 sequence starting at `p` (before `end`), or 0 when
// it is not well-formed (overlong forms, surrogates and values past U+10FFFF
// included).
std::size_t utf8SequenceLength(const unsigned char* p, const unsigned char* end) {
  auto continuation = [&](std::size_t i, unsigned char low = 0x80, unsigned char high = 0xBF) {
    return p + i < end && p[i] >= low && p[i] <= high;
  };
  unsigned char c = p[0];
  if (c >= 0xC2 && c <= 0xDF) return continuation(1) ? 2 : 0;
  if (c == 0xE0) return continuation(1, 0xA0) && continuation(2) ? 3 : 0;
  if ((c >= 0xE1 && c <= 0xEC) || c == 0xEE || c == 0xEF) {
    return continuation(1) && continuation(2) ? 3 : 0;
  }
  if (c == 0xED) return continuation(1, 0x80, 0x9F) && continuation(2) ? 3 : 0;
  if (c == 0xF0) return continuation(1, 0x90) && continuation(2) && continuation(3) ? 4 : 0;
  if (c >= 0xF1 && c <= 0xF3) {
    return continuation(1) && continuation(2) && continuation(3) ? 4 : 0;
  }
  if (c == 0xF4) return continuation(1, 0x80, 0x8F) && continuation(2) && continuation(3) ? 4 : 0;
  return 0;
}

// Whether any of the eight bytes of `word` needs a look of its own: a byte
// of a multi-byte sequence, a control character, '"', '\\' or (when
// `slash`) '/'. Exact (no false negatives); used to skip plain text eight
// bytes at a time.
bool needsAttention(std::uint64_t word, bool slash) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
  constexpr std::uint64_t kHigh = 0x8080808080808080ULL;
  auto hasZeroByte = [](std::uint64_t x) { return (x - kOnes) & ~x & kHigh; };
  std::uint64_t found = word & kHigh;
  found |= (word - kOnes * 0x20) & ~word & kHigh;  // a byte below 0x20
  found |= hasZeroByte(word ^ (kOnes * '"'));
  found |= hasZeroByte(word ^ (kOnes * '\\'));
  if (slash) found |= hasZeroByte(word ^ (kOnes * '/'));
  return found != 0;
}

void writeString(std::string_view text, const JSONWritingOptions& options, std::string& out) {
  const bool slash = !options.withoutEscapingSlashes;
  const std::array<bool, 256>& escapes = slash ? kEscapeWithSlash : kEscapeWithoutSlash;
  out += '"';
  const auto* begin = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = begin + text.size();
  const auto* run = begin;
  for (const auto* p = begin; p != end;) {
    if (end - p >= 8) {
      std::uint64_t word;
      std::memcpy(&word, p, sizeof word);
      if (!needsAttention(word, slash)) {
        p += 8;
        continue;
      }
    }
    unsigned char c = *p;
    if (c >= 0x80) {
      std::size_t length = utf8SequenceLength(p, end);
      if (length == 0) {
        throw EncodingError::invalidValue("String",
                                          {{}, "The string is not valid UTF-8.", nullptr});
      }
      p += length;
    } else if (escapes[c]) {
      out.append(reinterpret_cast<const char*>(run), reinterpret_cast<const char*>(p));
      writeEscape(c, out);
      run = ++p;
    } else {
      ++p;
    }
  }
  out.append(reinterpret_cast<const char*>(run), reinterpret_cast<const char*>(end));
  out += '"';
}

void writeDouble(double d, std::string& out) {
  if (!std::isfinite(d)) {
    out += "null";
    return;
  }
  char buffer[32];
  // Integral values inside the exactly representable range print without a
  // fraction or exponent (3, not 3.0 or 3e0).
  if (std::trunc(d) == d && std::abs(d) < 9007199254740992.0) {
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, static_cast<long long>(d));
    out.append(buffer, end);
    if (d == 0 && std::signbit(d)) out.insert(out.size() - 1, "-");
    return;
  }
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, d);
  out.append(buffer, end);
}

void newline(int depth, std::string& out) {
  out += '\n';
  out.append(static_cast<std::size_t>(depth) * 2, ' ');
}

void checkDepth(int depth) {
  if (depth >= static_cast<int>(kMaxCodingDepth)) {
    throw EncodingError::invalidValue("", {{}, "The value is nested too deeply.", nullptr});
  }
}

void write(const boost::json::value& value, const JSONWritingOptions& options, int depth,
           std::string& out) {
  switch (value.kind()) {
    case boost::json::kind::null:
      out += "null";
      return;
    case boost::json::kind::bool_:
      out += value.get_bool() ? "true" : "false";
      return;
    case boost::json::kind::int64: {
      char buffer[24];
      auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value.get_int64());
      out.append(buffer, end);
      return;
    }
    case boost::json::kind::uint64: {
      char buffer[24];
      auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value.get_uint64());
      out.append(buffer, end);
      return;
    }
    case boost::json::kind::double_:
      writeDouble(value.get_double(), out);
      return;
    case boost::json::kind::string:
      writeString(value.get_string(), options, out);
      return;
    case boost::json::kind::array: {
      const auto& array = value.get_array();
      checkDepth(depth);
      out += '[';
      bool first = true;
      for (const auto& element : array) {
        if (!first) out += ',';
        first = false;
        if (options.prettyPrinted) newline(depth + 1, out);
        write(element, options, depth + 1, out);
      }
      if (options.prettyPrinted && !array.empty()) newline(depth, out);
      out += ']';
      return;
    }
    case boost::json::kind::object: {
      const auto& object = value.get_object();
      checkDepth(depth);
      out += '{';
      bool first = true;
      auto writeMember = [&](const boost::json::key_value_pair& member) {
        if (!first) out += ',';
        first = false;
        if (options.prettyPrinted) newline(depth + 1, out);
        writeString(member.key(), options, out);
        out += options.prettyPrinted ? " : " : ":";
        write(member.value(), options, depth + 1, out);
      };
      if (options.sortedKeys) {
        std::vector<const boost::json::key_value_pair*> members;
        members.reserve(object.size());
        for (const auto& member : object) members.push_back(&member);
        // Plain byte order: char_traits compares as unsigned char.
        std::sort(members.begin(), members.end(),
                  [](const auto* a, const auto* b) { return a->key() < b->key(); });
        for (const auto* member : members) writeMember(*member);
      } else {
        for (const auto& member : object) writeMember(member);
      }
      if (options.prettyPrinted && !object.empty()) newline(depth, out);
      out += '}';
      return;
    }
  }
}

}  // namespace

void writeJSON(const boost::json::value& value, const JSONWritingOptions& options,
               std::string& out) {
  write(value, options, 0, out);
}

void writeJSONString(std::string_view text, const JSONWritingOptions& options, std::string& out) {
  writeString(text, options, out);
}

void writeJSONNumber(double number, std::string& out) { writeDouble(number, out); }

std::string writeJSON(const boost::json::value& value, const JSONWritingOptions& options) {
  std::string out;
  write(value, options, 0, out);
  return out;
}

}  // namespace zorlan
