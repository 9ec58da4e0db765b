// zorlan/Environment/OperatingSystemVersion.hpp: the forgiving parse and equality.
#include <gtest/gtest.h>

#include "zorlan/Environment/OperatingSystemVersion.hpp"

namespace zorlan {
namespace {

TEST(OperatingSystemVersionTest, ParsesForgivingly) {
  // clang-format off
  const std::pair<const char*, OperatingSystemVersion> cases[] = {
      {"17.5", {17, 5, 0}}, {"17", {17, 0, 0}}, {"", {0, 0, 0}}, {"17.5.1.9", {17, 5, 1}},
      {"17..5", {17, 5, 0}}, {".17.5.", {17, 5, 0}}, {"17.5abc", {17, 0, 0}}, {"17.x.3", {17, 0, 3}},
      {"-1", {-1, 0, 0}}, {"+1.2", {0, 2, 0}}, {" 17.5", {0, 5, 0}}, {"1e3", {0, 0, 0}},
      {"-", {0, 0, 0}}, {"9223372036854775808.1", {0, 1, 0}}, {"007.08", {7, 8, 0}}};
  // clang-format on
  for (const auto& [text, expected] : cases) {
    const OperatingSystemVersion parsed(text);
    EXPECT_EQ(parsed, expected) << '"' << text << "\" gave " << parsed.majorVersion << '.'
                                << parsed.minorVersion << '.' << parsed.patchVersion;
  }
  EXPECT_FALSE(OperatingSystemVersion(17, 5, 0) == OperatingSystemVersion(17, 5, 1));
  EXPECT_FALSE(OperatingSystemVersion(17, 5, 0) == OperatingSystemVersion(17, 4, 0));
}

}  // namespace
}  // namespace zorlan
