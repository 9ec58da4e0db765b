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
  std::vector<int> expected, known;
  for (const auto& [first, last] : ranges) {
    for (int code = first; code <= last; ++code) expected.push_back(code);
  }
  for (int code = -1000; code <= 1000; ++code) {
    const auto status = HTTPStatus::fromRawValue(code);
    EXPECT_EQ(status.has_value(), HTTPStatus::isKnown(code)) << code;
    if (status && status->rawValue() == code && !status->reasonPhrase().empty()) {
      known.push_back(code);
    }
  }
  EXPECT_EQ(known, expected);
  EXPECT_EQ(HTTPStatus::fromRawValue(404)->reasonPhrase(), "Not Found");
}

}  // namespace
}  // namespace zorlan
