// zorlan/Platform/Data.hpp: bytes, their text, and base64 both ways.
#include <gtest/gtest.h>

#include <utility>

#include "zorlan/Platform/Data.hpp"

namespace zorlan {
namespace {

TEST(Data, Base64BothWaysAndMalformedTextIsAbsent) {
  // RFC 4648 test vectors plus bytes that use the last two alphabet letters.
  // clang-format off
  const std::pair<std::string, const char*> cases[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foob", "Zm9vYg=="}, {"foobar", "Zm9vYmFy"},
      {std::string("\x00\x01\x02\xfa\xff", 5), "AAEC+v8="},
      {std::string("\xfb\xff\xbf", 3), "+/+/"}};
  // clang-format on
  for (const auto& [bytes, base64] : cases) {
    EXPECT_EQ(Data(bytes).base64EncodedString(), base64);
    EXPECT_EQ(Data::fromBase64(base64), Data(bytes)) << base64;
  }
  for (const char* text : {"Zg", "Zm9", "Z===", "=Zm9", "Zg==Zg==", "Zm9v\n", "Zm9-", "Zm9_",
                           "Z=g=", "\xc3\xa9\xc3\xa9"}) {
    EXPECT_FALSE(Data::fromBase64(text)) << text;
  }
}

}  // namespace
}  // namespace zorlan
