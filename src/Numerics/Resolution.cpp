#include "zorlan/Numerics/Resolution.hpp"

#include "zorlan/Platform/IntegerParsing.hpp"

namespace zorlan {

std::optional<Size> sizeFromResolution(std::string_view text) {
  const auto firstX = text.find('x');
  const auto lastX = text.rfind('x');
  const std::string_view first = text.substr(0, firstX);
  const std::string_view last = lastX == std::string_view::npos ? text : text.substr(lastX + 1);
  if (first.empty()) return std::nullopt;
  const auto width = parseInt64(first);
  const auto height = parseInt64(last);
  if (!width || !height) return std::nullopt;
  return Size{static_cast<CGFloat>(*width), static_cast<CGFloat>(*height)};
}

}  // namespace zorlan
