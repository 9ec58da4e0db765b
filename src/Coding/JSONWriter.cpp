#include "zorlan/Coding/JSONWriter.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "Base/HotPath.hpp"
#include "zorlan/Coding/CodingError.hpp"
#include "zorlan/Coding/Decoder.hpp"
#include "zorlan/Platform/Unicode.hpp"

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

// Where written text goes: appended to a string, or written at a pointer
// the caller gave room enough.
struct StringOut {
  std::string& text;
  void put(char c) { text += c; }
  void put(const char* bytes, std::size_t count) { text.append(bytes, count); }
};
struct RawOut {
  char* at;
  void put(char c) { *at++ = c; }
  void put(const char* bytes, std::size_t count) {
    if (count == 0) return;
    std::memcpy(at, bytes, count);
    at += count;
  }
};

struct CountingOut {
  std::size_t count = 0;
  void put(char) { ++count; }
  void put(const char*, std::size_t bytes) { count += bytes; }
};

template <class Out>
void writeEscape(unsigned char c, Out& out) {
  static constexpr char kHex[] = "0123456789abcdef";
  switch (c) {
    case '"':
      return out.put("\\\"", 2);
    case '\\':
      return out.put("\\\\", 2);
    case '/':
      return out.put("\\/", 2);
    case '\n':
      return out.put("\\n", 2);
    case '\r':
      return out.put("\\r", 2);
    case '\t':
      return out.put("\\t", 2);
    case '\b':
      return out.put("\\b", 2);
    case '\f':
      return out.put("\\f", 2);
    default: {
      const char unicode[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
      out.put(unicode, sizeof unicode);
    }
  }
}

// The bytes of `word` that need a look of their own (a byte of a multi-byte
// sequence, a control character, '"', '\\' or, when `slash`, '/'), as a
// mask whose lowest set bit lies in the first such byte (little-endian
// order). Bits above that byte may be set spuriously; zero means none.
std::uint64_t attentionMask(std::uint64_t word, bool slash) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
  constexpr std::uint64_t kHigh = 0x8080808080808080ULL;
  auto zeroBytes = [](std::uint64_t x) { return (x - kOnes) & ~x & kHigh; };
  std::uint64_t found = word & kHigh;
  found |= (word - kOnes * 0x20) & ~word & kHigh;  // bytes below 0x20
  found |= zeroBytes(word ^ (kOnes * '"'));
  found |= zeroBytes(word ^ (kOnes * '\\'));
  if (slash) found |= zeroBytes(word ^ (kOnes * '/'));
  return found;
}

#if defined(__SSE2__)
// The bytes of `v` that need a look, one bit each (exact). As signed
// bytes, control characters and the bytes of multi-byte sequences are
// exactly those below 0x20.
unsigned attentionBits(__m128i v, bool slash) {
  __m128i found = _mm_cmplt_epi8(v, _mm_set1_epi8(0x20));
  found = _mm_or_si128(found, _mm_cmpeq_epi8(v, _mm_set1_epi8('"')));
  found = _mm_or_si128(found, _mm_cmpeq_epi8(v, _mm_set1_epi8('\\')));
  if (slash) found = _mm_or_si128(found, _mm_cmpeq_epi8(v, _mm_set1_epi8('/')));
  return static_cast<unsigned>(_mm_movemask_epi8(found));
}
bool needsAttention(__m128i v, bool slash) { return attentionBits(v, slash) != 0; }
__m128i load16(const unsigned char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
#endif

// The first byte at or after `p` that needs a look (or `end`). Plain text is
// skipped eight bytes at a time; the last few bytes of a long text are read
// as the text's last eight bytes, ignoring those before `p`.
const unsigned char* nextAttention(const unsigned char* begin, const unsigned char* p,
                                   const unsigned char* end, bool slash,
                                   const std::array<bool, 256>& escapes) {
#if defined(__SSE2__)
  for (; end - p >= 16; p += 16) {
    if (unsigned bits = attentionBits(load16(p), slash)) return p + std::countr_zero(bits);
  }
  if (p == end) return end;
  if (end - begin >= 16) {
    const auto seen = static_cast<unsigned>(16 - (end - p));  // 1 to 15 bytes before `p`
    const unsigned bits = attentionBits(load16(end - 16), slash) & (~0U << seen);
    return bits ? end - 16 + std::countr_zero(bits) : end;
  }
#endif
  std::uint64_t word = 0;
  while (end - p >= 8) {
    std::memcpy(&word, p, sizeof word);
    if (std::uint64_t found = attentionMask(word, slash)) {
      return p + std::countr_zero(found) / 8;
    }
    p += 8;
  }
  if (p == end) return end;
  if (end - begin >= 8) {
    const auto seen = static_cast<unsigned>(8 - (end - p));  // 1 to 7 bytes before `p`
    std::memcpy(&word, end - 8, sizeof word);
    const std::uint64_t found = attentionMask(word, slash) & (~std::uint64_t{0} << (8 * seen));
    return found ? end - 8 + std::countr_zero(found) / 8 : end;
  }
  while (p != end && *p < 0x80 && !escapes[*p]) ++p;
  return p;
}

// Whether no byte of the `end - p` (below 16) bytes at `p` needs a look:
// read as two overlapping blocks, the shortest texts padded with plain
// letters.
ZORLAN_HOT inline bool isShortPlainText(const unsigned char* p, const unsigned char* end,
                                        bool slash) {
  const auto size = static_cast<std::size_t>(end - p);
  if (size >= 8) {
    std::uint64_t head = 0, tail = 0;
    std::memcpy(&head, p, sizeof head);
    std::memcpy(&tail, end - 8, sizeof tail);
#if defined(__SSE2__)
    return !needsAttention(
        _mm_set_epi64x(static_cast<long long>(tail), static_cast<long long>(head)), slash);
#else
    return (attentionMask(head, slash) | attentionMask(tail, slash)) == 0;
#endif
  }
  if (size >= 4) {
    std::uint32_t head = 0, tail = 0;
    std::memcpy(&head, p, sizeof head);
    std::memcpy(&tail, end - 4, sizeof tail);
    return attentionMask(head | (std::uint64_t{tail} << 32), slash) == 0;
  }
  if (size == 0) return true;
  const std::uint64_t word = 0x6161616161000000ULL | p[0] | (std::uint64_t{p[size / 2]} << 8) |
                             (std::uint64_t{p[size - 1]} << 16);
  return attentionMask(word, slash) == 0;
}

// Whether no byte of [p, end) needs a look: read sixteen (or eight) bytes at
// a time, the last read overlapping the one before.
ZORLAN_HOT bool isPlainText(const unsigned char* p, const unsigned char* end, bool slash) {
  if (end - p < 16) return isShortPlainText(p, end, slash);
#if defined(__SSE2__)
  for (; end - p > 16; p += 16) {
    if (needsAttention(load16(p), slash)) return false;
  }
  return !needsAttention(load16(end - 16), slash);
#else
  std::uint64_t word = 0;
  for (; end - p > 8; p += 8) {
    std::memcpy(&word, p, sizeof word);
    if (attentionMask(word, slash) != 0) return false;
  }
  std::memcpy(&word, end - 8, sizeof word);
  return attentionMask(word, slash) == 0;
#endif
}

// Writes the bytes of [begin, end) from `from` on, with their escapes;
// everything before `run` (at or before `from`) has been written already,
// and [run, from) needs no escape. Out of line, so that the callers' fast
// paths save fewer registers.
template <class Out>
[[gnu::noinline]] void writeStringRest(const unsigned char* begin, const unsigned char* run,
                                       const unsigned char* from, const unsigned char* end,
                                       bool slash, Out& out) {
  const std::array<bool, 256>& escapes = slash ? kEscapeWithSlash : kEscapeWithoutSlash;
  for (const auto* p = nextAttention(begin, from, end, slash, escapes); p != end;
       p = nextAttention(begin, p, end, slash, escapes)) {
    const unsigned char c = *p;
    if (c >= 0x80) {
      std::size_t length = unicode::wellFormedUTF8Length(p, end);
      if (length == 0) {
        throw EncodingError::invalidValue("String",
                                          {{}, "The string is not valid UTF-8.", nullptr});
      }
      p += length;
    } else if (escapes[c]) {
      out.put(reinterpret_cast<const char*>(run), static_cast<std::size_t>(p - run));
      writeEscape(c, out);
      run = ++p;
    } else {
      ++p;  // flagged spuriously
    }
  }
  out.put(reinterpret_cast<const char*>(run), static_cast<std::size_t>(end - run));
  out.put('"');
}

template <class Out>
ZORLAN_HOT void writeStringTo(std::string_view text, bool slash, Out& out) {
  const auto* begin = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = begin + text.size();
  out.put('"');
  if (isPlainText(begin, end, slash)) {  // the common case: copied whole
    out.put(text.data(), text.size());
    out.put('"');
    return;
  }
  writeStringRest(begin, begin, begin, end, slash, out);
}

// Copies the `size` (below 16) bytes at `from` to `to`, in at most two
// overlapping moves each way.
ZORLAN_HOT inline void copyShort(char* to, const unsigned char* from, std::size_t size) {
  if (size >= 8) {
    std::uint64_t head = 0, tail = 0;
    std::memcpy(&head, from, 8);
    std::memcpy(&tail, from + size - 8, 8);
    std::memcpy(to, &head, 8);
    std::memcpy(to + size - 8, &tail, 8);
  } else if (size >= 4) {
    std::uint32_t head = 0, tail = 0;
    std::memcpy(&head, from, 4);
    std::memcpy(&tail, from + size - 4, 4);
    std::memcpy(to, &head, 4);
    std::memcpy(to + size - 4, &tail, 4);
  } else if (size > 0) {
    to[0] = static_cast<char>(from[0]);
    to[size / 2] = static_cast<char>(from[size / 2]);
    to[size - 1] = static_cast<char>(from[size - 1]);
  }
}

// The string writer for a buffer with room for maxJSONStringSize bytes:
// scans and copies in one pass, sixteen bytes at a time, writing slashes
// escaped on the way (file paths have several); hands over to the general
// loop at the first other byte that needs a look.
ZORLAN_HOT char* writeStringAt(std::string_view text, bool slash, char* at) {
  const auto* const begin = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = begin + text.size();
  const auto* p = begin;
  *at++ = '"';
  bool general = false;  // stopped at a byte for the general loop
#if defined(__SSE2__)
  // At a byte that needs a look: writes it escaped when it is a slash, else
  // leaves it to the general loop.
  const auto escapedSlash = [&p, &at, &general] {
    if (*p != '/') {
      general = true;
      return false;
    }
    at[0] = '\\';
    at[1] = '/';
    at += 2;
    ++p;
    return true;
  };
  // Every block stored lies within the room: at most two bytes are written
  // per byte read before it, and sixteen for the sixteen read.
  while (end - p >= 16) {
    const __m128i block = load16(p);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(at), block);
    const unsigned bits = attentionBits(block, slash);
    if (bits == 0) {
      p += 16;
      at += 16;
      continue;
    }
    const int plain = std::countr_zero(bits);
    p += plain;
    at += plain;
    if (!escapedSlash()) break;
  }
  // The last bytes, read as the text's last sixteen.
  if (!general && end - begin >= 16) {
    const unsigned tailBits = attentionBits(load16(end - 16), slash);
    while (p != end) {
      const auto left = static_cast<std::size_t>(end - p);
      const unsigned bits = tailBits >> (16 - left);
      if (bits == 0) {
        copyShort(at, p, left);
        at += left;
        p = end;
        break;
      }
      const int plain = std::countr_zero(bits);
      copyShort(at, p, static_cast<std::size_t>(plain));
      p += plain;
      at += plain;
      if (!escapedSlash()) break;
    }
  }
#endif
  // A short text: checked whole, then copied.
  if (!general && p != end && end - p < 16 && isShortPlainText(p, end, slash)) {
    copyShort(at, p, static_cast<std::size_t>(end - p));
    at += end - p;
    p = end;
  }
  if (p == end) {
    *at++ = '"';
    return at;
  }
  RawOut out{at};
  writeStringRest(begin, p, p, end, slash, out);
  return out.at;
}

void writeString(std::string_view text, const JSONWritingOptions& options, std::string& out) {
  StringOut sink{out};
  writeStringTo(text, !options.withoutEscapingSlashes, sink);
}

// Clock readings: seconds since 1970 to the microsecond. For a double `d`
// nearest to a whole number of microseconds between 2^30 and 2^33 seconds
// (years 2004 to 2242), the shortest round-trip form is that number of
// microseconds written out, without trailing zeros: doubles there lie less
// than a microsecond apart, so any other decimal of up to six places is
// nearer another double, and a longer one is not the shortest; the fixed
// form is shorter than the scientific one. Writes it and returns its length,
// or returns 0 for any other `d` (not a whole microsecond, or outside).
ZORLAN_HOT std::size_t formatWholeMicroseconds(double d, char* buffer) {
  constexpr double kLow = 1073741824.0, kHigh = 8589934592.0;  // 2^30, 2^33
  if (!(d >= kLow && d < kHigh)) return 0;
  const auto micros = static_cast<std::int64_t>(d * 1e6 + 0.5);  // d is positive
  if (static_cast<double>(micros) / 1e6 != d) return 0;
  const std::int64_t seconds = micros / 1000000;
  auto fraction = static_cast<std::uint32_t>(micros % 1000000);
  if (fraction == 0) return 0;  // integral: written as an integer elsewhere
  // Readings come in runs within one second: its digits and the point are
  // kept per thread (ten digits and the point, as seconds here have ten).
  struct Prefix {
    std::int64_t seconds = -1;
    char text[16] = {};
  };
  thread_local Prefix prefix ZORLAN_HOT_THREAD_LOCAL;
  if (prefix.seconds != seconds) {
    char* end = std::to_chars(prefix.text, prefix.text + 15, seconds).ptr;
    *end = '.';
    prefix.seconds = seconds;
  }
  std::memcpy(buffer, prefix.text, 16);
  char* at = buffer + 11;
  static constexpr char kPairs[] =
      "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
      "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
      "8081828384858687888990919293949596979899";
  const std::uint32_t high = fraction / 10000, middle = fraction / 100 % 100, low = fraction % 100;
  std::memcpy(at, kPairs + 2 * high, 2);
  std::memcpy(at + 2, kPairs + 2 * middle, 2);
  std::memcpy(at + 4, kPairs + 2 * low, 2);
  at += 6;
  while (at[-1] == '0') --at;  // the fraction is not zero: a digit other than 0 stops this
  return static_cast<std::size_t>(at - buffer);
}

// Formats `d` into `buffer` (kMaxJSONNumberSize bytes); returns the length.
ZORLAN_HOT std::size_t formatDouble(double d, char* buffer) {
  // Clock readings first: none is integral or not finite.
  if (std::size_t length = formatWholeMicroseconds(d, buffer)) return length;
  if (!std::isfinite(d)) {
    std::memcpy(buffer, "null", 4);
    return 4;
  }
  char* const limit = buffer + kMaxJSONNumberSize;
  // Integral values inside the exactly representable range print without a
  // fraction or exponent (3, not 3.0 or 3e0).
  if (std::trunc(d) == d && std::abs(d) < 9007199254740992.0) {
    char* at = buffer;
    if (d == 0 && std::signbit(d)) *at++ = '-';
    return static_cast<std::size_t>(std::to_chars(at, limit, static_cast<long long>(d)).ptr -
                                    buffer);
  }
  return static_cast<std::size_t>(std::to_chars(buffer, limit, d).ptr - buffer);
}

void writeDouble(double d, std::string& out) {
  char buffer[kMaxJSONNumberSize];
  out.append(buffer, formatDouble(d, buffer));
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

ZORLAN_HOT char* writeJSONString(std::string_view text, const JSONWritingOptions& options,
                                 char* out) {
  return writeStringAt(text, !options.withoutEscapingSlashes, out);
}

ZORLAN_HOT std::size_t jsonStringSize(std::string_view text, const JSONWritingOptions& options) {
  CountingOut counter;
  writeStringTo(text, !options.withoutEscapingSlashes, counter);
  return counter.count;
}

char* writeJSONNumber(double number, char* out) { return out + formatDouble(number, out); }

void appendJSONString(std::string_view text, const JSONWritingOptions& options, std::string& out) {
  writeString(text, options, out);
}

void appendJSONNumber(double number, std::string& out) { writeDouble(number, out); }

std::string writeJSON(const boost::json::value& value, const JSONWritingOptions& options) {
  std::string out;
  write(value, options, 0, out);
  return out;
}

}  // namespace zorlan
