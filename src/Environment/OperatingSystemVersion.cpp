#include "zorlan/Environment/OperatingSystemVersion.hpp"

#include <charconv>

namespace zorlan {
namespace {

// `piece` as a plain whole number, or 0 (from_chars takes no "+" and no blanks).
std::int64_t plainNumber(std::string_view piece) noexcept {
  std::int64_t value = 0;
  const char* end = piece.data() + piece.size();
  const auto [stop, failure] = std::from_chars(piece.data(), end, value);
  return failure == std::errc() && stop == end ? value : 0;
}

}  // namespace

OperatingSystemVersion::OperatingSystemVersion(std::string_view text) noexcept {
  std::int64_t* fields[] = {&majorVersion, &minorVersion, &patchVersion};
  std::size_t next = 0;
  while (next < 3 && !text.empty()) {
    const std::size_t dot = text.find('.');
    const std::string_view piece = text.substr(0, dot);
    text = dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1);
    if (!piece.empty()) *fields[next++] = plainNumber(piece);
  }
}

}  // namespace zorlan
