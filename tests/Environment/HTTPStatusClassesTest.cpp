// zorlan/Environment/HTTPStatusClasses.hpp: each class holds its range's known codes in order;
// the server-error list can be replaced.
#include <gtest/gtest.h>

#include <algorithm>

#include "zorlan/Environment/HTTPStatusClasses.hpp"
#include "zorlan/Platform/HTTPStatus.hpp"

namespace zorlan {
namespace {

TEST(HTTPStatusClassesTest, EachClassIsItsRangesKnownCodesAscending) {
  const std::pair<const std::vector<int>*, int> classes[] = {
      {&HTTPStatusClasses::informationCodes(), 100},
      {&HTTPStatusClasses::successCodes(), 200},
      {&HTTPStatusClasses::redirectCodes(), 300},
      {&HTTPStatusClasses::clientErrorCodes(), 400},
      {HTTPStatusClasses::serverErrorCodes().get(), 500}};
  for (const auto& [codes, first] : classes) {
    SCOPED_TRACE(first);
    std::vector<int> expected;
    for (int code = first; code < first + 100; ++code) {
      if (HTTPStatus::isKnown(code)) expected.push_back(code);
    }
    EXPECT_EQ(*codes, expected);
    EXPECT_EQ(codes->front(), first);
  }
  EXPECT_EQ(HTTPStatusClasses::successCodes().back(), 226);
  EXPECT_EQ(HTTPStatusClasses::serverErrorCodes()->back(), 511);
}

TEST(HTTPStatusClassesTest, AReplacedServerErrorListReachesLaterReaders) {
  const auto original = HTTPStatusClasses::serverErrorCodes();
  HTTPStatusClasses::setServerErrorCodes({500, 503, 599});
  EXPECT_EQ(*HTTPStatusClasses::serverErrorCodes(), (std::vector<int>{500, 503, 599}));
  EXPECT_EQ(original->size(), 11u);  // a snapshot taken before keeps its list
  HTTPStatusClasses::setServerErrorCodes(*original);
  EXPECT_EQ(*HTTPStatusClasses::serverErrorCodes(), *original);
}

}  // namespace
}  // namespace zorlan
