// The literal start of a route's regular expression, used to turn away most
// inputs before ICU runs.
#pragma once

#include <string_view>
#include <vector>

namespace zorlan::routing {

// One position of the prefix: an ASCII literal matched without regard to
// letter case, or "." (any character but a line break).
struct PrefixChar {
  char literal;
  bool any;
};

// The positions every match must begin with, derived from `regex` (which
// must compile): the leading run of plain ASCII literals and "." that no
// quantifier applies to. Empty (no filtering) when the expression has
// constructs that could make those positions optional: an alternative at
// the top level, inline flags, comments, quoting, or anything the scan does
// not understand.
std::vector<PrefixChar> requiredPrefix(std::string_view regex);

enum class PrefixVerdict { noMatch, undecided };

// `noMatch` only when `input` certainly does not start with `prefix` under
// case-insensitive matching: it is ASCII up to the first difference (or ends
// before the prefix does). Any non-ASCII or control byte met first leaves the
// decision to the regular expression.
PrefixVerdict checkPrefix(const std::vector<PrefixChar>& prefix, std::string_view input) noexcept;

}  // namespace zorlan::routing
