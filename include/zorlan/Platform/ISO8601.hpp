// ISO 8601 date text: formatting in UTC and parsing with offsets.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zorlan/Platform/Date.hpp"

namespace zorlan::iso8601 {

// "2001-01-01T00:00:00Z"; with `fractionalSeconds`, milliseconds are added:
// "2001-01-01T00:00:00.250Z". Whole seconds are truncated, milliseconds
// rounded. Empty for a date that is not finite or lies outside the years
// 0000 to 9999. Thread-safe.
std::string format(Date date, bool fractionalSeconds = false);

// Parses "yyyy-MM-ddTHH:mm:ss" followed by an optional fraction (only when
// `fractionalSeconds`, then required) and "Z" or an offset "+hh:mm"/"-hh:mm".
// Absent for anything else, including out-of-range fields. Thread-safe.
std::optional<Date> parse(std::string_view text, bool fractionalSeconds = false);

}  // namespace zorlan::iso8601
