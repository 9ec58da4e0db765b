#include "zorlan/Text/StringUtilities.hpp"

#include <unicode/utf8.h>

#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Platform/Unicode.hpp"

namespace zorlan {

std::optional<std::string> nonEmpty(std::string_view text) {
  if (text.empty()) return std::nullopt;
  return std::string(text);
}

std::string trimWhitespaceAndNewLines(std::string_view text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const auto size = static_cast<int32_t>(text.size());
  // Leading scalars.
  int32_t begin = 0;
  while (begin < size) {
    int32_t next = begin;
    UChar32 scalar = 0;
    U8_NEXT(bytes, next, size, scalar);
    if (scalar < 0 || !unicode::isWhitespaceOrNewline(static_cast<char32_t>(scalar))) break;
    begin = next;
  }
  // Trailing scalars, not crossing the leading cut.
  int32_t end = size;
  while (end > begin) {
    int32_t previous = end;
    UChar32 scalar = 0;
    U8_PREV(bytes, begin, previous, scalar);
    if (scalar < 0 || !unicode::isWhitespaceOrNewline(static_cast<char32_t>(scalar))) break;
    end = previous;
  }
  return std::string(
      text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
}

std::string truncate(std::string_view text, std::int64_t length, std::string_view with) {
  ZORLAN_PRECONDITION(length >= 0, "Cannot truncate a string to a negative length");
  const auto characters = unicode::characters(text);
  if (characters.size() <= static_cast<std::uint64_t>(length)) return std::string(text);
  // The first `length` characters end where character `length` begins.
  const std::string_view cut = characters[static_cast<std::size_t>(length)];
  std::string result(text.substr(0, static_cast<std::size_t>(cut.data() - text.data())));
  result += with;
  return result;
}

std::string removeOccurrences(std::string_view text, std::string_view occurrence) {
  if (occurrence.empty()) return std::string(text);
  std::string result;
  result.reserve(text.size());
  std::size_t from = 0;
  for (auto found = text.find(occurrence); found != std::string_view::npos;
       found = text.find(occurrence, from)) {
    result.append(text.substr(from, found - from));
    from = found + occurrence.size();
  }
  result.append(text.substr(from));
  return result;
}

std::string appendUntil(std::string_view text, std::int64_t length) {
  if (text.empty() || length <= 0) return std::string(text);
  const auto characters = unicode::characters(text);
  if (characters.size() >= static_cast<std::uint64_t>(length)) return std::string(text);
  const std::string_view last = characters.back();
  const auto missing = static_cast<std::size_t>(length) - characters.size();
  const std::size_t head = characters.size() - 1;  // characters before the last one
  const std::size_t lastOffset = static_cast<std::size_t>(last.data() - text.data());

  std::string result(text);
  // Usual case: copies of the character stay separate characters.
  std::string probe;
  for (int n = 0; n < 3; ++n) probe += last;
  if (unicode::characterCount(probe) == 3) {
    result.reserve(text.size() + missing * last.size());
    for (std::size_t n = 0; n < missing; ++n) result += last;
    return result;
  }
  // Copies join: add one at a time, counting only from the last character on
  // (earlier boundaries do not move). Stop once the count is reached, or when
  // two copies in a row did not add a character.
  std::size_t stalled = 0;
  std::size_t tailCount = 1;
  while (head + tailCount < static_cast<std::uint64_t>(length) && stalled < 2) {
    result += last;
    const std::size_t counted =
        unicode::characterCount(std::string_view(result).substr(lastOffset));
    stalled = counted > tailCount ? 0 : stalled + 1;
    tailCount = counted;
  }
  return result;
}

}  // namespace zorlan
