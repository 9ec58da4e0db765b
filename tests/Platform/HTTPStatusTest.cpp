// zorlan/Platform/HTTPStatus.hpp: exactly the registered codes are known.
#include <gtest/gtest.h>

#include <vector>

#include "zorlan/Platform/HTTPStatus.hpp"

namespace zorlan {
namespace {

TEST(HTTPStatusTest, KnowsExactlyTheRegisteredCodes) {
  const std::pair<int, int> ranges[] = {{100, 103}, {200, 208}, {226, 226}, {300, 308},
                                        {400, 418}, {421, 426}, {428, 429}, {431, 431},
                                        {451, 451}, {500, 508}, {510, 511}};
  std::vector<int> expected;
  for (const auto& [first, last] : ranges) {
    for (int code = first; code <= last; ++code) expected.push_back(code);
  }
  std::vector<int> known;
  for (int code = -1000; code <= 1000; ++code) {
    const auto status = HTTPStatus::fromRawValue(code);
    EXPECT_EQ(status.has_value(), HTTPStatus::isKnown(code)) << code;
    if (!status) continue;
    EXPECT_EQ(status->rawValue(), code);
    EXPECT_FALSE(status->reasonPhrase().empty()) << code;
    known.push_back(code);
  }
  EXPECT_EQ(known, expected);
  EXPECT_EQ(HTTPStatus::fromRawValue(404)->reasonPhrase(), "Not Found");
  EXPECT_EQ(HTTPStatus::fromRawValue(511)->reasonPhrase(), "Network Authentication Required");
}

}  // namespace
}  // namespace zorlan
