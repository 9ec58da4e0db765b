// zorlan/Coding/DecodingProbe.hpp: a probe that says "certainly fails" must
// agree with the decoding itself, and must never refuse what decodes.
#include <gtest/gtest.h>

#include "zorlan/Coding/DecodingProbe.hpp"
#include "zorlan/Coding/JSONDecoder.hpp"

namespace zorlan {
namespace {

struct Inner {
  int n = 0;
};
ZORLAN_CODABLE(Inner, n);

struct Outer {
  std::string title;
  std::optional<double> rating;
  std::vector<Inner> items;
  bool flag = false;
  boost::json::value extra;  // a type the probe does not know: never refuses
};
ZORLAN_CODABLE(Outer, title, rating, items, flag, extra);

TEST(DecodingProbeTest, RefusesExactlyWhatVisiblyFailsAndNeverWhatDecodes) {
  const std::pair<const char*, bool> cases[] = {
      {R"({"title":"a","items":[],"flag":true,"extra":null})", false},
      {R"({"title":"a","rating":null,"items":[{"n":1.0}],"flag":false,"extra":[1]})", false},
      {R"({"title":"a","items":[{"n":1.5}],"flag":false,"extra":1})", false},    // fails, unseen
      {R"({"items":[],"flag":true,"extra":1})", true},                           // missing
      {R"({"title":null,"items":[],"flag":true,"extra":1})", true},              // null
      {R"({"title":"a","rating":"x","items":[],"flag":true,"extra":1})", true},  // wrong kind
      {R"({"title":"a","items":[{"m":1}],"flag":true,"extra":1})", true},        // nested
      {R"({"title":"a","items":[],"flag":1,"extra":1})", true},                  // no Bool from 1
      {R"({"title":"a","items":[],"flag":true})", true},                         // extra missing
      {R"([1])", true},
  };
  for (const auto& [json, expected] : cases) {
    const bool refused = certainlyFailsToDecode<Outer>(JSONDecoder::parse(json));
    EXPECT_EQ(refused, expected) << json;
    if (refused) {
      EXPECT_THROW(JSONDecoder().decode<Outer>(std::string_view(json)), DecodingError) << json;
    }
  }
}

}  // namespace
}  // namespace zorlan
