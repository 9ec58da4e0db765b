#include "zorlan/Values/SemVer.hpp"

#include <array>
#include <ostream>

#include "zorlan/Platform/IntegerParsing.hpp"

namespace zorlan {

SemVer::SemVer(std::string_view text) noexcept {
  std::array<std::int64_t*, 3> fields{&major, &minor, &patch};
  std::size_t filled = 0;
  std::size_t start = 0;
  while (filled < fields.size() && start <= text.size()) {
    std::size_t dot = text.find('.', start);
    if (dot == std::string_view::npos) dot = text.size();
    const std::string_view piece = text.substr(start, dot - start);
    if (!piece.empty()) {
      *fields[filled++] = parseInt64(piece).value_or(0);
    }
    start = dot + 1;
  }
}

std::string SemVer::description() const {
  return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

std::ostream& operator<<(std::ostream& out, const SemVer& version) {
  return out << version.description();
}

}  // namespace zorlan
