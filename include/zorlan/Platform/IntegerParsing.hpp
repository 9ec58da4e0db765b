// Strict decimal parsing of signed 64-bit integers, as the platform's integer
// initializer from text does it.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zorlan {

// Parses `text` as an optional single "+" or "-" followed by one or more ASCII
// digits and nothing else. Returns absent for anything else: blanks anywhere,
// other characters, a sign without digits, or a value outside the signed
// 64-bit range. Pure and thread-safe.
inline std::optional<std::int64_t> parseInt64(std::string_view text) noexcept {
  if (text.empty()) return std::nullopt;
  // from_chars takes a leading "-" itself but not "+"; a "+" is skipped here and
  // must be followed by a digit (so "+-1" and "+" fail).
  if (text.front() == '+') {
    text.remove_prefix(1);
    if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
  }
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [ptr, error] = std::from_chars(text.data(), end, value, 10);
  if (error != std::errc() || ptr != end) return std::nullopt;
  return value;
}

}  // namespace zorlan
