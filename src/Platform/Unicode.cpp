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

// Calls `visit(begin, end)` with the byte range of each character of `text`.
template <class Visit>
void forEachCharacter(std::string_view text, Visit&& visit) {
  if (text.empty()) return;
  if (isAscii(text)) {
    // Every ASCII byte is a character of its own, except that CR LF is one.
    for (std::size_t i = 0; i < text.size();) {
      const std::size_t length = (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
                                     ? 2
                                     : 1;
      visit(i, i + length);
      i += length;
    }
    return;
  }
  icu::BreakIterator* iterator = characterIterator();
  UErrorCode status = U_ZERO_ERROR;
  UText* utext = utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status);
  if (iterator == nullptr || U_FAILURE(status)) {
    utext_close(utext);
    visit(std::size_t{0}, text.size());  // cannot segment: the whole text as one piece
    return;
  }
  iterator->setText(utext, status);
  if (U_FAILURE(status)) {
    utext_close(utext);
    visit(std::size_t{0}, text.size());
    return;
  }
  // For UTF-8 text the boundaries are byte offsets.
  int32_t start = iterator->first();
  for (int32_t end = iterator->next(); end != icu::BreakIterator::DONE;
       end = iterator->next()) {
    visit(static_cast<std::size_t>(start), static_cast<std::size_t>(end));
    start = end;
  }
  // Detach the iterator from the text before closing it.
  UText* empty = utext_openUTF8(nullptr, "", 0, &status);
  iterator->setText(empty, status);
  utext_close(utext);
  utext_close(empty);
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

}  // namespace zorlan::unicode
