// zorlan/Coding/DecodingProbe.hpp: a probe that says "certainly fails" must
// agree with the decoding itself, and must never refuse what decodes.
#include "zorlan/Coding/DecodingProbe.hpp"

#include <gtest/gtest.h>

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

bool decodes(std::string_view text) {
  try {
    JSONDecoder().decode<Outer>(text);
    return true;
  } catch (const DecodingError&) {
    return false;
  }
}

TEST(DecodingProbeTest, RefusesExactlyWhatVisiblyFailsAndNeverWhatDecodes) {
  struct Case {
    const char* json;
    bool refused;
  };
  const Case cases[] = {
      {R"({"title":"a","items":[],"flag":true,"extra":null})", false},
      {R"({"title":"a","rating":null,"items":[{"n":1.0}],"flag":false,"extra":[1]})", false},
      {R"({"title":"a","items":[{"n":1.5}],"flag":false,"extra":1})", false},  // fails, unseen
      {R"({"items":[],"flag":true,"extra":1})", true},                          // missing
      {R"({"title":null,"items":[],"flag":true,"extra":1})", true},             // null
      {R"({"title":"a","rating":"x","items":[],"flag":true,"extra":1})", true},  // wrong kind
      {R"({"title":"a","items":[{"m":1}],"flag":true,"extra":1})", true},       // nested
      {R"({"title":"a","items":[],"flag":1,"extra":1})", true},                 // no Bool from 1
      {R"({"title":"a","items":[],"flag":true})", true},                        // extra missing
      {R"([1])", true},
  };
  for (const Case& c : cases) {
    const bool refused = certainlyFailsToDecode<Outer>(JSONDecoder::parse(c.json));
    EXPECT_EQ(refused, c.refused) << c.json;
    if (refused) {
      EXPECT_FALSE(decodes(c.json)) << c.json;
    }
  }
}

}  // namespace
}  // namespace zorlan
