// zorlan/JSON/JSONMerge.hpp: deep merge of untyped dictionaries and re-keying by raw values.
#include <gtest/gtest.h>

#include <array>
#include <boost/json/parse.hpp>

#include "zorlan/JSON/JSONMerge.hpp"

namespace zorlan {

enum class Quality { sd, hd, uhd };
ZORLAN_CODABLE_ENUM(Quality, sd, hd, uhd);

enum class Tier { free, basic, premium, legacyPremium };
template <>
struct RawValues<Tier> {
  // Two enumerators share the raw value 3.
  static constexpr std::pair<Tier, int> values[] = {
      {Tier::free, 0}, {Tier::basic, 1}, {Tier::premium, 3}, {Tier::legacyPremium, 3}};
};

namespace {

boost::json::object object(std::string_view json) { return boost::json::parse(json).as_object(); }

// Name, base, update, result.
const std::array<const char*, 4> kMerges[] = {
    {"nested objects merge, arrays are replaced", R"({"a":{"x":1,"y":2},"b":[1,2]})",
     R"({"a":{"y":3,"z":4},"b":[9]})", R"({"a":{"x":1,"y":3,"z":4},"b":[9]})"},
    {"a scalar replaces an object", R"({"a":{"x":1}})", R"({"a":5})", R"({"a":5})"},
    {"an object replaces a scalar", R"({"a":5})", R"({"a":{"x":1}})", R"({"a":{"x":1}})"},
    {"empty update", R"({"a":{"x":[1]},"b":null})", "{}", R"({"a":{"x":[1]},"b":null})"},
    {"empty base", "{}", R"({"a":{"x":[1]},"b":null})", R"({"a":{"x":[1]},"b":null})"},
    {"null in the update replaces", R"({"a":{"x":1},"b":2})", R"({"a":null,"b":null})",
     R"({"a":null,"b":null})"},
    {"an empty object keeps the base's members", R"({"a":{"x":1}})", R"({"a":{}})",
     R"({"a":{"x":1}})"},
    {"arrays of objects are not merged element by element", R"({"a":[{"x":1,"y":2}]})",
     R"({"a":[{"x":3}]})", R"({"a":[{"x":3}]})"},
    {"base-only members survive at every depth",
     R"({"keep":1,"a":{"keep":2,"b":{"keep":3,"c":{"v":1}}}})",
     R"({"a":{"b":{"c":{"v":2,"w":3}}}})",
     R"({"keep":1,"a":{"keep":2,"b":{"keep":3,"c":{"v":2,"w":3}}}})"},
    {"the update wins at leaves of every type", R"({"s":"a","n":1,"b":true,"d":1.5})",
     R"({"s":1,"n":"a","b":false,"d":[]})", R"({"s":1,"n":"a","b":false,"d":[]})"},
};

TEST(MergeKeys, FollowsTheMergeTable) {
  for (const auto& [name, baseText, updateText, result] : kMerges) {
    SCOPED_TRACE(name);
    const boost::json::object base = object(baseText), update = object(updateText);
    EXPECT_EQ(mergeKeys(base, update), object(result));
    EXPECT_EQ(std::pair(base, update),
              std::pair(object(baseText), object(updateText)));  // unchanged
  }
}

TEST(MergeKeys, MergingWithItselfGivesItselfAndTheResultOwnsItsValues) {
  const boost::json::object d = object(R"({"a":{"b":{"c":[1,{"d":2}]}},"e":null})");
  EXPECT_EQ(mergeKeys(d, d), d);
  boost::json::object base = object(R"({"a":{"x":1}})");
  boost::json::object merged;
  {
    boost::json::object update = object(R"({"a":{"y":[1,2,3]},"b":"long enough to allocate"})");
    merged = mergeKeys(base, update);
  }
  EXPECT_EQ(merged, object(R"({"a":{"x":1,"y":[1,2,3]},"b":"long enough to allocate"})"));
}

TEST(MapKeysToRawValue, KeysByEachKeysRawValueAndTheLaterOfTwoKeysWithOneRawValueWins) {
  std::map<Quality, int> bitrates{{Quality::sd, 1}, {Quality::hd, 5}, {Quality::uhd, 15}};
  EXPECT_EQ(mapKeysToRawValue(bitrates),
            (std::map<std::string, int>{{"sd", 1}, {"hd", 5}, {"uhd", 15}}));
  std::unordered_map<Quality, std::string> labels{{Quality::hd, "HD"}};
  EXPECT_EQ(mapKeysToRawValue(labels),
            (std::unordered_map<std::string, std::string>{{"hd", "HD"}}));
  // Of two keys with one raw value the later wins: a std::map visits legacyPremium after
  // premium.
  std::map<Tier, std::string> prices{
      {Tier::free, "0"}, {Tier::premium, "10"}, {Tier::legacyPremium, "8"}};
  EXPECT_EQ(mapKeysToRawValue(prices), (std::map<int, std::string>{{0, "0"}, {3, "8"}}));
  std::map<Tier, std::string> reversed{{Tier::premium, "10"}, {Tier::basic, "5"}};
  EXPECT_EQ(mapKeysToRawValue(reversed), (std::map<int, std::string>{{1, "5"}, {3, "10"}}));
}

TEST(MapKeysToRawValueDeathTest, AKeyWithoutARawValueStops) {
  std::map<Quality, int> odd{{static_cast<Quality>(7), 1}};
  EXPECT_DEATH(mapKeysToRawValue(odd), "has no raw value");
}

}  // namespace
}  // namespace zorlan
