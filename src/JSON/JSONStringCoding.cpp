#include "zorlan/JSON/JSONStringCoding.hpp"

#include <cstdint>

#include "zorlan/Platform/Unicode.hpp"

namespace zorlan {

namespace {

// Reads the scalar value of well-formed UTF-8 at `at` (advancing past it), or
// returns false for an ill-formed sequence.
bool nextScalar(std::string_view text, std::size_t& at, char32_t& scalar) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data()) + at;
  const std::size_t length = unicode::wellFormedUTF8Length(p, p + (text.size() - at));
  if (length == 0) return false;
  constexpr unsigned char kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  scalar = p[0] & kLeadBits[length];
  for (std::size_t i = 1; i < length; ++i) scalar = (scalar << 6) | (p[i] & 0x3F);
  at += length;
  return true;
}

void appendUnit(std::string& out, std::uint16_t unit, bool bigEndian) {
  char high = static_cast<char>(unit >> 8);
  char low = static_cast<char>(unit & 0xFF);
  out += bigEndian ? high : low;
  out += bigEndian ? low : high;
}

std::optional<std::string> utf8ToUTF16(std::string_view utf8, bool bigEndian, bool mark) {
  std::string out;
  out.reserve(utf8.size() * 2 + 2);
  if (mark) appendUnit(out, 0xFEFF, bigEndian);
  for (std::size_t at = 0; at < utf8.size();) {
    char32_t c;
    if (!nextScalar(utf8, at, c)) return std::nullopt;
    if (c < 0x10000) {
      appendUnit(out, static_cast<std::uint16_t>(c), bigEndian);
    } else {
      c -= 0x10000;
      appendUnit(out, static_cast<std::uint16_t>(0xD800 | (c >> 10)), bigEndian);
      appendUnit(out, static_cast<std::uint16_t>(0xDC00 | (c & 0x3FF)), bigEndian);
    }
  }
  return out;
}

std::optional<std::string> utf16ToUTF8(std::string_view text, bool bigEndian) {
  if (text.size() % 2 != 0) return std::nullopt;
  auto unitAt = [&](std::size_t i) {
    auto a = static_cast<unsigned char>(text[i]);
    auto b = static_cast<unsigned char>(text[i + 1]);
    return static_cast<std::uint16_t>(bigEndian ? (a << 8 | b) : (b << 8 | a));
  };
  std::string out;
  out.reserve(text.size() * 3 / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    char32_t unit = unitAt(i);
    if (unit >= 0xDC00 && unit <= 0xDFFF) return std::nullopt;  // low surrogate first
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      if (i + 2 >= text.size()) return std::nullopt;
      char32_t next = unitAt(i + 2);
      if (next < 0xDC00 || next > 0xDFFF) return std::nullopt;
      unit = 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00);
      i += 2;
    }
    unicode::appendUTF8(out, unit);
  }
  return out;
}

// Scalars of `utf8` up to `limit` (0x7F or 0xFF), one byte each.
std::optional<std::string> utf8ToSingleByte(std::string_view utf8, char32_t limit) {
  std::string out;
  out.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) {
    char32_t c;
    if (!nextScalar(utf8, at, c) || c > limit) return std::nullopt;
    out += static_cast<char>(c);
  }
  return out;
}

}  // namespace

std::string_view toString(StringEncoding encoding) noexcept {
  switch (encoding) {
    case StringEncoding::utf8:
      return "utf8";
    case StringEncoding::utf16:
      return "utf16";
    case StringEncoding::utf16BigEndian:
      return "utf16BigEndian";
    case StringEncoding::utf16LittleEndian:
      return "utf16LittleEndian";
    case StringEncoding::ascii:
      return "ascii";
    case StringEncoding::isoLatin1:
      return "isoLatin1";
  }
  return "unknown";
}

std::optional<std::string> encodeText(std::string_view utf8, StringEncoding encoding) {
  switch (encoding) {
    case StringEncoding::utf8:
      for (std::size_t at = 0; at < utf8.size();) {
        char32_t c;
        if (!nextScalar(utf8, at, c)) return std::nullopt;
      }
      return std::string(utf8);
    case StringEncoding::utf16:
      return utf8ToUTF16(utf8, /*bigEndian=*/true, /*mark=*/true);
    case StringEncoding::utf16BigEndian:
      return utf8ToUTF16(utf8, /*bigEndian=*/true, /*mark=*/false);
    case StringEncoding::utf16LittleEndian:
      return utf8ToUTF16(utf8, /*bigEndian=*/false, /*mark=*/false);
    case StringEncoding::ascii:
      return utf8ToSingleByte(utf8, 0x7F);
    case StringEncoding::isoLatin1:
      return utf8ToSingleByte(utf8, 0xFF);
  }
  return std::nullopt;
}

std::optional<std::string> decodeText(std::string_view bytes, StringEncoding encoding) {
  switch (encoding) {
    case StringEncoding::utf8:
      return encodeText(bytes, StringEncoding::utf8);
    case StringEncoding::utf16:
      if (bytes.starts_with("\xFE\xFF")) return utf16ToUTF8(bytes.substr(2), /*bigEndian=*/true);
      if (bytes.starts_with("\xFF\xFE")) return utf16ToUTF8(bytes.substr(2), /*bigEndian=*/false);
      return utf16ToUTF8(bytes, /*bigEndian=*/true);
    case StringEncoding::utf16BigEndian:
      return utf16ToUTF8(bytes, /*bigEndian=*/true);
    case StringEncoding::utf16LittleEndian:
      return utf16ToUTF8(bytes, /*bigEndian=*/false);
    case StringEncoding::ascii:
      for (char c : bytes) {
        if (static_cast<unsigned char>(c) > 0x7F) return std::nullopt;
      }
      return std::string(bytes);
    case StringEncoding::isoLatin1: {
      std::string out;
      out.reserve(bytes.size() * 2);
      for (char c : bytes) unicode::appendUTF8(out, static_cast<unsigned char>(c));
      return out;
    }
  }
  return std::nullopt;
}

}  // namespace zorlan
