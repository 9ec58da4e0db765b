// OperatingSystemVersion: the three numbers of an operating-system version,
// and a forgiving parse of its text.
//
//   zorlan::OperatingSystemVersion v("17.5");   // 17.5.0
//   if (v == zorlan::OperatingSystemVersion{17, 5, 0}) ...
#pragma once

#include <cstdint>
#include <string_view>

namespace zorlan {

struct OperatingSystemVersion {
  std::int64_t majorVersion = 0;
  std::int64_t minorVersion = 0;
  std::int64_t patchVersion = 0;

  OperatingSystemVersion() = default;
  OperatingSystemVersion(std::int64_t major, std::int64_t minor, std::int64_t patch) noexcept
      : majorVersion(major), minorVersion(minor), patchVersion(patch) {}

  // Splits `text` at "." (empty pieces dropped) and takes major, minor and
  // patch from the first three pieces; later pieces are ignored. A piece is a
  // plain whole number: ASCII digits with an optional leading "-", nothing
  // else (no "+", blanks, exponent or thousands separator), within 64 bits. A
  // missing piece or one that is not such a number gives 0; the parse never
  // fails. "17.5" is 17.5.0, "" is 0.0.0, "17..5" is 17.5.0, "17.5abc" is
  // 17.0.0, "17.x.3" is 17.0.3 and "-1" is -1.0.0.
  explicit OperatingSystemVersion(std::string_view text) noexcept;

  // Equal when major, minor and patch are all equal.
  friend bool operator==(const OperatingSystemVersion&, const OperatingSystemVersion&) = default;
};

}  // namespace zorlan
