// zorlan/Coding/Decoder.hpp, Encoder.hpp, CodingKey.hpp, CodingError.hpp: hand-written codings
// through containers, the paths their errors carry, and how coding errors describe themselves.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <tuple>

#include "support/JSONCodingTestSupport.hpp"

namespace zorlan::container_test {

// Codes as {"kind":"left"|"right","values":[...,null],"meta":{"n":...,"none":null}}.
struct Tagged {
  bool left = true;
  std::vector<int> values;
  int n = 0;

  void encode(Encoder& encoder) const {
    KeyedEncodingContainer c = encoder.container();
    c.encode(std::string(left ? "left" : "right"), "kind");
    UnkeyedEncodingContainer list = c.nestedUnkeyedContainer("values");
    for (int v : values) list.encode(v);
    list.encodeNil();
    KeyedEncodingContainer meta = c.nestedContainer("meta");
    meta.encode(n, "n");
    meta.encodeNil("none");
  }
  static Tagged decode(const Decoder& decoder) {
    KeyedDecodingContainer c = decoder.container();
    Tagged t{
        c.decode<std::string>("kind") == "left", {}, c.nestedContainer("meta").decode<int>("n")};
    UnkeyedDecodingContainer list = c.nestedUnkeyedContainer("values");
    while (!list.isAtEnd()) {
      if (!list.decodeNil()) t.values.push_back(list.decode<int>());
    }
    return t;
  }
};

// Reads exactly three integers from an array.
struct Triple {
  int a = 0, b = 0, c = 0;
  static Triple decode(const Decoder& decoder) {
    UnkeyedDecodingContainer list = decoder.unkeyedContainer();
    return Triple{list.decode<int>(), list.decode<int>(), list.decode<int>()};
  }
  void encode(Encoder& encoder) const {
    UnkeyedEncodingContainer list = encoder.unkeyedContainer();
    for (int v : {a, b, c}) list.encode(v);
  }
};

namespace {

using testing::decodeOutcome;
using testing::decodingError;
using testing::raised;

TEST(Containers, HandWrittenCodingRoundTripsThroughTextAndTrees) {
  const Tagged t{false, {1, 2}, 5};
  const std::string json = JSONEncoder().encodeToString(t);
  EXPECT_EQ(json, R"({"kind":"right","values":[1,2,null],"meta":{"n":5,"none":null}})");
  const Tagged back = JSONDecoder().decode<Tagged>(json);
  EXPECT_EQ(std::tie(back.left, back.values, back.n), std::tie(t.left, t.values, t.n));
  const boost::json::value tree = JSONEncoder().encodeToJSON(Tagged{true, {7}, 1});
  EXPECT_EQ(tree.at("values").at(0).as_int64(), 7);
  EXPECT_EQ(JSONDecoder().decodeFromJSON<Tagged>(tree).values, std::vector<int>{7});
  EXPECT_EQ(JSONDecoder().decode<Triple>("[1,2,3,4]").c, 3);
  // A JSON value member passes through untouched.
  const auto passed = JSONDecoder().decode<std::map<std::string, boost::json::value>>(
      R"({"any":{"x":[1,"a",null]}})");
  EXPECT_EQ(JSONEncoder().encodeToString(passed), R"({"any":{"x":[1,"a",null]}})");
}

TEST(Containers, NestedErrorsCarryTheFullPath) {
  using Decode = std::string (*)(std::string_view, const JSONDecoder&);
  const std::tuple<Decode, const char*, const char*> cases[] = {
      {decodeOutcome<Tagged>, R"({"kind":"left","values":[],"meta":{}})",
       "keyNotFound [meta] No value associated with key CodingKeys(stringValue: \"n\", intValue: "
       "nil) (\"n\")."},
      {decodeOutcome<Tagged>, R"({"kind":"left","values":{},"meta":{"n":1}})",
       "typeMismatch [values] Expected to decode Array<Any> but found a dictionary instead."},
      {decodeOutcome<Tagged>, R"({"kind":"left","values":null,"meta":{"n":1}})",
       "valueNotFound [values] Expected Array<Any> value but found null instead."},
      {decodeOutcome<Tagged>, "[]",
       "typeMismatch [] Expected to decode Dictionary<String, Any> but found an array instead."},
      {decodeOutcome<Triple>, "[1,2]", "valueNotFound [2] Unkeyed container is at end."}};
  for (const auto& [decode, json, expected] : cases) {
    EXPECT_EQ(decode(json, JSONDecoder()), expected) << json;
  }
  EXPECT_EQ(decodingError<Triple>("[1,2]").type(), "Int32");
}

TEST(Containers, KeyedAndUnkeyedQueries) {
  const boost::json::value doc = JSONDecoder::parse(R"({"b":1,"a":null,"c":"x"})");
  const DecodingOptions options;
  KeyedDecodingContainer c = Decoder(doc, options).container();
  std::vector<std::string> keys;
  for (const CodingKey& key : c.allKeys()) keys.push_back(key.stringValue);
  EXPECT_EQ(keys, (std::vector<std::string>{"b", "a", "c"}));
  EXPECT_TRUE(c.contains("a") && !c.contains("z"));
  EXPECT_TRUE(c.decodeNil("a") && !c.decodeNil("b"));
  EXPECT_THROW(c.decodeNil("z"), DecodingError);
  EXPECT_EQ(c.decodeIfPresent<int>("b"), 1);
  EXPECT_EQ(c.decodeIfPresent<int>("a"), std::nullopt);
  EXPECT_EQ(c.decodeIfPresent<int>("z"), std::nullopt);
  EXPECT_THROW(c.decodeIfPresent<int>("c"), DecodingError);  // present, of the wrong type
  EXPECT_TRUE(c.superDecoder("z").decodeNil());
  EXPECT_EQ(c.superDecoder("c").decode<std::string>(), "x");
  EXPECT_EQ(codingPathString(c.superDecoder("z").codingPath()), "z");

  const boost::json::value array = JSONDecoder::parse(R"([null,2,null])");
  UnkeyedDecodingContainer list = Decoder(array, options).unkeyedContainer();
  EXPECT_EQ(list.count(), 3u);
  EXPECT_EQ(list.decodeIfPresent<int>(), std::nullopt);
  EXPECT_FALSE(list.decodeNil());  // a value is not consumed
  EXPECT_EQ(list.currentIndex(), 1u);
  EXPECT_EQ(list.decodeIfPresent<int>(), 2);
  EXPECT_TRUE(list.decodeNil());
  EXPECT_TRUE(list.isAtEnd());
  EXPECT_FALSE(list.decodeNil());
  EXPECT_THROW(list.superDecoder(), DecodingError);
}

TEST(Containers, PathsOutliveTheKeysCallersPass) {
  // Keys built on the fly: errors raised later still name them.
  const boost::json::value doc = JSONDecoder::parse(R"({"item-7":{"n":"x"}})");
  const DecodingOptions options;
  KeyedDecodingContainer nested =
      Decoder(doc, options).container().nestedContainer(std::string("item-") + std::to_string(7));
  const DecodingError failure =
      raised<DecodingError>([&] { nested.decode<int>(std::string("n")); });
  EXPECT_EQ(codingPathString(failure.context().codingPath), "item-7.n");
  boost::json::value out;
  const EncodingOptions encodingOptions;
  Encoder encoder(out, encodingOptions);
  KeyedEncodingContainer inner = encoder.container().nestedContainer(std::string("k") + "ey");
  const EncodingError error = raised<EncodingError>([&] { inner.encode(std::nan(""), "x"); });
  EXPECT_EQ(codingPathString(error.context().codingPath), "key.x");
}

TEST(Containers, TreesBuiltInMemoryMeetTheDepthLimitToo) {
  boost::json::value tree = boost::json::array();
  boost::json::value* innermost = &tree;
  for (int i = 0; i < 600; ++i)
    innermost = &innermost->get_array().emplace_back(boost::json::array());
  EXPECT_NO_THROW(JSONDecoder().decodeFromJSON<std::vector<boost::json::value>>(tree));
  struct Nested {
    static void decode(const Decoder& decoder) {
      UnkeyedDecodingContainer c = decoder.unkeyedContainer();
      while (!c.isAtEnd()) decode(c.superDecoder());
    }
  };
  const DecodingError error =
      raised<DecodingError>([&] { Nested::decode(Decoder(tree, DecodingOptions{})); });
  EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted);
  EXPECT_EQ(error.context().codingPath.size(), kMaxCodingDepth);
}

TEST(CodingError, PathsAndDescriptionsAreStable) {
  EXPECT_EQ(codingPathString({}), "");
  EXPECT_EQ(codingPathString({CodingKey::index(0), CodingKey::named("a b"), CodingKey::index(12),
                              CodingKey::named("x")}),
            "0.a b.12.x");

  const DecodingError mismatch = DecodingError::typeMismatch(
      "Int", {{CodingKey::named("items"), CodingKey::index(3)}, "Expected Int.", nullptr});
  EXPECT_EQ(mismatch.description(),
            "typeMismatch(Int, Context(codingPath: [items, 3], debugDescription: \"Expected "
            "Int.\", underlyingError: nil))");
  EXPECT_STREQ(mismatch.what(), mismatch.description().c_str());
  const DecodingError missing =
      DecodingError::keyNotFound(CodingKey::named("name"), {{}, "No value for \"name\".", nullptr});
  EXPECT_EQ(missing.description(),
            "keyNotFound(CodingKeys(stringValue: \"name\", intValue: nil), Context(codingPath: "
            "[], debugDescription: \"No value for \\\"name\\\".\", underlyingError: nil))");
  const DecodingError corrupted = DecodingError::dataCorrupted(
      {{}, "Not JSON.", std::make_exception_ptr(std::runtime_error("syntax error"))});
  EXPECT_EQ(corrupted.description(),
            "dataCorrupted(Context(codingPath: [], debugDescription: \"Not JSON.\", "
            "underlyingError: syntax error))");
  const EncodingError invalid =
      EncodingError::invalidValue("nan", {{CodingKey::index(1)}, "Unable to encode.", nullptr});
  EXPECT_EQ(invalid.description(),
            "invalidValue(nan, Context(codingPath: [1], debugDescription: \"Unable to "
            "encode.\", underlyingError: nil))");
}

TEST(CodingError, BridgesToTheCocoaDomainWithItsCodes) {
  const std::exception_ptr cause = std::make_exception_ptr(std::runtime_error("cause"));
  const std::pair<DecodingError, long> cases[] = {
      {DecodingError::typeMismatch("Int", {{}, "", nullptr}), 4864},
      {DecodingError::dataCorrupted({{}, "", cause}), 4864},
      {DecodingError::valueNotFound("Int", {{}, "", nullptr}), 4865},
      {DecodingError::keyNotFound(CodingKey::named("k"), {{}, "", nullptr}), 4865}};
  for (const auto& [error, code] : cases) {
    const BridgedError& bridged = error;
    EXPECT_EQ(bridged.errorDomain(), "NSCocoaErrorDomain");
    EXPECT_EQ(bridged.errorCode(), code);
    EXPECT_EQ(bridged.underlyingErrors().size(), error.context().underlyingError ? 1u : 0u);
  }
  EXPECT_EQ(cases[1].first.underlyingErrors().front(), cause);
  const EncodingError invalid = EncodingError::invalidValue("inf", {{}, "", cause});
  EXPECT_EQ(invalid.errorDomain(), "NSCocoaErrorDomain");
  EXPECT_EQ(invalid.errorCode(), 4866);
  EXPECT_EQ(invalid.underlyingErrors(), std::vector<std::exception_ptr>{cause});
}

}  // namespace
}  // namespace zorlan::container_test
