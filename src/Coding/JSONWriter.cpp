#include "zorlan/Coding/JSONWriter.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
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

void writeString(std::string_view text, const JSONWritingOptions& options, std::string& out) {
  const std::array<bool, 256>& escapes =
      options.withoutEscapingSlashes ? kEscapeWithoutSlash : kEscapeWithSlash;
  out += '"';
  const char* run = text.data();
  const char* end = text.data() + text.size();
  for (const char* p = run; p != end; ++p) {
    auto c = static_cast<unsigned char>(*p);
    if (escapes[c]) {
      out.append(run, p);
      writeEscape(c, out);
      run = p + 1;
    }
  }
  out.append(run, end);
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

std::string writeJSON(const boost::json::value& value, const JSONWritingOptions& options) {
  std::string out;
  write(value, options, 0, out);
  return out;
}

}  // namespace zorlan
