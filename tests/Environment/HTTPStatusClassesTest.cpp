// zorlan/Environment/HTTPStatusClasses.hpp: each class holds its range's known codes in order;
// the server-error list can be replaced.
#include <gtest/gtest.h>

#include "zorlan/Environment/HTTPStatusClasses.hpp"
#include "zorlan/Platform/HTTPStatus.hpp"

namespace zorlan {
namespace {

TEST(HTTPStatusClassesTest, EachClassIsItsRangesKnownCodesAscending) {
  const std::vector<int>* classes[] = {
      &HTTPStatusClasses::informationCodes(), &HTTPStatusClasses::successCodes(),
      &HTTPStatusClasses::redirectCodes(), &HTTPStatusClasses::clientErrorCodes(),
      HTTPStatusClasses::serverErrorCodes().get()};
  for (int i = 0; i < 5; ++i) {
    std::vector<int> expected;
    for (int code = 100 * (i + 1); code < 100 * (i + 2); ++code) {
      if (HTTPStatus::isKnown(code)) expected.push_back(code);
    }
    EXPECT_EQ(*classes[i], expected) << "class " << i + 1;
  }
}

TEST(HTTPStatusClassesTest, AReplacedServerErrorListReachesLaterReaders) {
  const auto original = HTTPStatusClasses::serverErrorCodes();
  HTTPStatusClasses::setServerErrorCodes({500, 503, 599});
  EXPECT_EQ(*HTTPStatusClasses::serverErrorCodes(), (std::vector<int>{500, 503, 599}));
  EXPECT_EQ(original->size(), 11u);  // a snapshot taken before keeps its list
  HTTPStatusClasses::setServerErrorCodes(*original);
}

}  // namespace
}  // namespace zorlan
