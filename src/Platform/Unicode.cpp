#include "zorlan/Platform/Unicode.hpp"

#include <unicode/brkiter.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>

#include <memory>

namespace zorlan::unicode {
namespace {

// One character break iterator per thread: creating one loads rules and costs
// far more than a short text's segmentation.
icu::BreakIterator* characterIterator() {
  thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> created(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status)) created.reset();
    return created;
  }();
  return iterator.get();
}

bool isAscii(std::string_view text) noexcept {
  for (unsigned char c : text) {
    if (c >= 0x80) return false;
  }
  return true;
}

// Calls `visit(begin, end)` for each character of `piece`, with offsets moved
// by `offset`, segmenting with ICU.
template <class Visit>
void segmentWithIcu(std::string_view piece, std::size_t offset, Visit& visit) {
  icu::BreakIterator* iterator = characterIterator();
  UErrorCode status = U_ZERO_ERROR;
  UText* utext =
      utext_openUTF8(nullptr, piece.data(), static_cast<int64_t>(piece.size()), &status);
  if (iterator != nullptr && U_SUCCESS(status)) iterator->setText(utext, status);
  if (iterator == nullptr || U_FAILURE(status)) {
    utext_close(utext);
    visit(offset, offset + piece.size());  // cannot segment: the piece as one character
    return;
  }
  // For UTF-8 text the boundaries are byte offsets.
  int32_t start = iterator->first();
  for (int32_t end = iterator->next(); end != icu::BreakIterator::DONE;
       end = iterator->next()) {
    visit(offset + static_cast<std::size_t>(start), offset + static_cast<std::size_t>(end));
    start = end;
  }
  // Detach the iterator from the text before closing it.
  UText* empty = utext_openUTF8(nullptr, "", 0, &status);
  iterator->setText(empty, status);
  utext_close(utext);
  utext_close(empty);
}

bool isAsciiByte(char c) noexcept { return static_cast<unsigned char>(c) < 0x80; }

// Calls `visit(begin, end)` with the byte range of each character of `text`.
//
// Between two ASCII characters other than CR LF there is always a boundary (no
// rule joins them, and no context reaches across them), so the text is cut
// there: ASCII characters are taken one by one and only the stretches around
// other characters are segmented by ICU.
template <class Visit>
void forEachCharacter(std::string_view text, Visit&& visit) {
  const std::size_t n = text.size();
  std::size_t i = 0;
  while (i < n) {
    if (isAsciiByte(text[i]) && (i + 1 == n || isAsciiByte(text[i + 1]))) {
      const std::size_t length = (text[i] == '\r' && i + 1 < n && text[i + 1] == '\n') ? 2 : 1;
      visit(i, i + length);
      i += length;
      continue;
    }
    // A stretch up to the next certain boundary: an ASCII byte after an ASCII
    // byte, not LF after CR.
    std::size_t end = i + 1;
    while (end < n && !(isAsciiByte(text[end]) && isAsciiByte(text[end - 1]) &&
                        !(text[end - 1] == '\r' && text[end] == '\n'))) {
      ++end;
    }
    segmentWithIcu(text.substr(i, end - i), i, visit);
    i = end;
  }
}

std::string toUtf8(const icu::UnicodeString& text) {
  std::string out;
  text.toUTF8String(out);
  return out;
}

}  // namespace

std::vector<std::string_view> characters(std::string_view text) {
  std::vector<std::string_view> result;
  forEachCharacter(text, [&](std::size_t begin, std::size_t end) {
    result.push_back(text.substr(begin, end - begin));
  });
  return result;
}

std::size_t characterCount(std::string_view text) {
  std::size_t count = 0;
  forEachCharacter(text, [&](std::size_t, std::size_t) { ++count; });
  return count;
}

std::string lowercased(std::string_view text) {
  if (isAscii(text)) {
    std::string out(text);
    for (char& c : out) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
  }
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  unicode.toLower(icu::Locale::getRoot());
  return toUtf8(unicode);
}

std::string normalizedNFC(std::string_view text) {
  if (isAscii(text)) return std::string(text);
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
  const icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  if (U_FAILURE(status)) return toUtf8(unicode);
  const icu::UnicodeString normalized = nfc->normalize(unicode, status);
  if (U_FAILURE(status)) return toUtf8(unicode);
  return toUtf8(normalized);
}

bool isWhitespaceOrNewline(char32_t scalar) noexcept {
  if ((scalar >= 0x09 && scalar <= 0x0D) || scalar == 0x85) return true;
  if (scalar > 0x10FFFF) return false;
  switch (u_charType(static_cast<UChar32>(scalar))) {
    case U_SPACE_SEPARATOR:
    case U_LINE_SEPARATOR:
    case U_PARAGRAPH_SEPARATOR:
      return true;
    default:
      return false;
  }
}

std::size_t wellFormedUTF8Length(const unsigned char* p, const unsigned char* end) noexcept {
  auto continuation = [&](std::size_t i, unsigned char low = 0x80, unsigned char high = 0xBF) {
    return p + i < end && p[i] >= low && p[i] <= high;
  };
  const unsigned char c = p[0];
  if (c < 0x80) return 1;
  if (c >= 0xC2 && c <= 0xDF) return continuation(1) ? 2 : 0;
  if (c == 0xE0) return continuation(1, 0xA0) && continuation(2) ? 3 : 0;
  if ((c >= 0xE1 && c <= 0xEC) || c == 0xEE || c == 0xEF) {
    return continuation(1) && continuation(2) ? 3 : 0;
  }
  if (c == 0xED) return continuation(1, 0x80, 0x9F) && continuation(2) ? 3 : 0;
  if (c == 0xF0) return continuation(1, 0x90) && continuation(2) && continuation(3) ? 4 : 0;
  if (c >= 0xF1 && c <= 0xF3) return continuation(1) && continuation(2) && continuation(3) ? 4 : 0;
  if (c == 0xF4) return continuation(1, 0x80, 0x8F) && continuation(2) && continuation(3) ? 4 : 0;
  return 0;
}

void appendUTF8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

}  // namespace zorlan::unicode
