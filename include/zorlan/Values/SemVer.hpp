// SemVer: a three-number version (major.minor.patch) for stored schemas and
// migrations, with a forgiving parser and a plain lexicographic order.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace zorlan {

// A version of three signed 64-bit numbers. There is no pre-release label and
// no build metadata. The fields are not checked: negative numbers are allowed.
// A plain value; thread-safe as any value.
struct SemVer {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;

  // 0.0.0.
  constexpr SemVer() noexcept = default;
  // The three numbers as given.
  // (Brace initialization: some C libraries define `major` and `minor` as
  // function-like macros.)
  constexpr SemVer(std::int64_t majorValue, std::int64_t minorValue,
                   std::int64_t patchValue) noexcept
      : major{majorValue}, minor{minorValue}, patch{patchValue} {}

  // Parses `text`; never fails. The text is split at every "." and empty pieces
  // are dropped; the first three pieces give major, minor and patch. A piece
  // counts when it is an optional sign and ASCII digits fitting 64 bits; any
  // other piece, or a missing one, gives 0 for its field, and pieces after the
  // third are ignored. So "" is 0.0.0, "2" is 2.0.0, "1..2" is 1.2.0,
  // "1.2.3-beta" is 1.2.0 and "v1.2.3" is 0.2.3. Linear in the text's length.
  explicit SemVer(std::string_view text) noexcept;

  // The numbers in decimal joined by ".", as in "1.2.3" or "1.-2.0"; parsing it
  // back gives the same version.
  std::string description() const;

  // Fieldwise equality.
  friend constexpr bool operator==(const SemVer&, const SemVer&) noexcept = default;

  // Lexicographic order on (major, minor, patch) as signed numbers, so 1.10.0 is
  // after 1.9.9 and -1.0.0 before 0.0.0. The other comparisons derive from it.
  friend constexpr bool operator<(const SemVer& a, const SemVer& b) noexcept {
    if (a.major != b.major) return a.major < b.major;
    if (a.minor != b.minor) return a.minor < b.minor;
    return a.patch < b.patch;
  }
  friend constexpr bool operator>(const SemVer& a, const SemVer& b) noexcept { return b < a; }
  friend constexpr bool operator<=(const SemVer& a, const SemVer& b) noexcept { return !(b < a); }
  friend constexpr bool operator>=(const SemVer& a, const SemVer& b) noexcept { return !(a < b); }
};

// Writes `version.description()`.
std::ostream& operator<<(std::ostream& out, const SemVer& version);

}  // namespace zorlan
