// zorlan/Environment/HTTPStatusClasses.hpp: readers racing replacements of the server-error
// list always see a whole list, never a torn one.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "zorlan/Environment/HTTPStatusClasses.hpp"

namespace zorlan {
namespace {

TEST(HTTPStatusClassesConcurrencyTest, ReadersSeeWholeListsWhileItIsReplaced) {
  const auto original = HTTPStatusClasses::serverErrorCodes();
  const std::vector<int> replacement{500, 502, 599};
  std::vector<std::thread> readers;
  for (int r = 0; r < 2; ++r) {
    readers.emplace_back([&original, &replacement] {
      for (int i = 0; i < 2000; ++i) {
        const auto codes = HTTPStatusClasses::serverErrorCodes();
        EXPECT_TRUE(*codes == *original || *codes == replacement);
      }
    });
  }
  for (int i = 0; i < 500; ++i) {
    HTTPStatusClasses::setServerErrorCodes(i % 2 ? *original : replacement);
  }
  for (auto& reader : readers) reader.join();
  HTTPStatusClasses::setServerErrorCodes(*original);
  EXPECT_EQ(*HTTPStatusClasses::serverErrorCodes(), *original);
}

}  // namespace
}  // namespace zorlan
