// Reading a screen or video resolution such as "1920x1080" as a size.
#pragma once

#include <optional>
#include <string_view>

#include "zorlan/Platform/Geometry.hpp"

namespace zorlan {

// Parses `text` split at every lower-case "x": the first piece is the width and
// the last the height, each an optional sign and ASCII digits fitting 64 bits.
// Pieces in between are ignored, and a text without "x" gives a square
// ("720" is 720 × 720). Absent when the first or last piece is empty or not
// such a number: "1920X1080", "1920 x 1080" and "x5" give absent; "-5x10" is
// -5 × 10 and "1x2x3" is 1 × 3. Pure.
std::optional<Size> sizeFromResolution(std::string_view text);

}  // namespace zorlan
