// Hand-written codings through keyed, unkeyed and single-value containers.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"

namespace zorlan::container_test {

// Codes as {"kind":"left"|"right","values":[...],"meta":{"n":...}}.
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
    Tagged t;
    t.left = c.decode<std::string>("kind") == "left";
    UnkeyedDecodingContainer list = c.nestedUnkeyedContainer("values");
    while (!list.isAtEnd()) {
      if (list.decodeNil()) continue;
      t.values.push_back(list.decode<int>());
    }
    KeyedDecodingContainer meta = c.nestedContainer("meta");
    t.n = meta.decode<int>("n");
    return t;
  }
};

// Reads exactly three integers from an array.
struct Triple {
  int a = 0, b = 0, c = 0;
  static Triple decode(const Decoder& decoder) {
    UnkeyedDecodingContainer list = decoder.unkeyedContainer();
    Triple t;
    t.a = list.decode<int>();
    t.b = list.decode<int>();
    t.c = list.decode<int>();
    return t;
  }
  void encode(Encoder& encoder) const {
    UnkeyedEncodingContainer list = encoder.unkeyedContainer();
    list.encode(a);
    list.encode(b);
    list.encode(c);
  }
};

template <class T>
DecodingError decodingError(std::string_view json) {
  try {
    JSONDecoder().decode<T>(json);
  } catch (const DecodingError& error) {
    return error;
  }
  ADD_FAILURE() << "no error for " << json;
  return DecodingError::dataCorrupted({});
}

namespace {

TEST(Containers, HandWrittenCodingRoundTrips) {
  Tagged t{false, {1, 2}, 5};
  std::string json = JSONEncoder().encodeToString(t);
  EXPECT_EQ(json, R"({"kind":"right","values":[1,2,null],"meta":{"n":5,"none":null}})");
  Tagged back = JSONDecoder().decode<Tagged>(json);
  EXPECT_EQ(std::tie(back.left, back.values, back.n), std::tie(t.left, t.values, t.n));
}

TEST(Containers, NestedErrorsCarryTheFullPath) {
  struct Case {
    const char* json;
    DecodingError::Kind kind;
    const char* path;
  };
  const Case cases[] = {
      {R"({"kind":"left","values":[1,"x"],"meta":{"n":1}})", DecodingError::Kind::typeMismatch,
       "values.1"},
      {R"({"kind":"left","values":[],"meta":{}})", DecodingError::Kind::keyNotFound, "meta"},
      {R"({"kind":"left","values":[],"meta":{"n":1.5}})", DecodingError::Kind::dataCorrupted,
       "meta.n"},
      {R"({"kind":"left","values":{},"meta":{"n":1}})", DecodingError::Kind::typeMismatch,
       "values"},
      {R"({"kind":"left","values":null,"meta":{"n":1}})", DecodingError::Kind::valueNotFound,
       "values"},
  };
  for (const Case& c : cases) {
    DecodingError error = decodingError<Tagged>(c.json);
    EXPECT_EQ(error.kind(), c.kind) << c.json;
    EXPECT_EQ(codingPathString(error.context().codingPath), c.path) << c.json;
  }
  EXPECT_EQ(decodingError<Tagged>(R"({"kind":"left","values":{},"meta":{"n":1}})")
                .context()
                .debugDescription,
            "Expected to decode Array<Any> but found a dictionary instead.");
  EXPECT_EQ(decodingError<Tagged>("[]").context().debugDescription,
            "Expected to decode Dictionary<String, Any> but found an array instead.");
}

TEST(Containers, UnkeyedContainerAtItsEnd) {
  Triple t = JSONDecoder().decode<Triple>("[1,2,3,4]");
  EXPECT_EQ(t.c, 3);
  DecodingError error = decodingError<Triple>("[1,2]");
  EXPECT_EQ(error.kind(), DecodingError::Kind::valueNotFound);
  EXPECT_EQ(error.type(), "Int32");
  EXPECT_EQ(error.context().debugDescription, "Unkeyed container is at end.");
  EXPECT_EQ(error.context().codingPath, CodingPath{CodingKey::index(2)});
  // Elements keep their index in paths when nested under keys.
  DecodingError nested = decodingError<std::map<std::string, Triple>>(R"({"t":[1,true,3]})");
  EXPECT_EQ(codingPathString(nested.context().codingPath), "t.1");
  EXPECT_EQ(nested.context().codingPath[1].stringValue, "Index 1");
}

TEST(Containers, KeyedQueries) {
  boost::json::value doc = JSONDecoder::parse(R"({"b":1,"a":null,"c":"x"})");
  DecodingOptions options;
  Decoder decoder(doc, options);
  KeyedDecodingContainer c = decoder.container();
  std::vector<std::string> keys;
  for (const CodingKey& key : c.allKeys()) keys.push_back(key.stringValue);
  EXPECT_EQ(keys, (std::vector<std::string>{"b", "a", "c"}));
  EXPECT_TRUE(c.contains("a"));
  EXPECT_FALSE(c.contains("z"));
  EXPECT_TRUE(c.decodeNil("a"));
  EXPECT_FALSE(c.decodeNil("b"));
  EXPECT_THROW(c.decodeNil("z"), DecodingError);
  EXPECT_EQ(c.decodeIfPresent<int>("b"), 1);
  EXPECT_EQ(c.decodeIfPresent<int>("a"), std::nullopt);
  EXPECT_EQ(c.decodeIfPresent<int>("z"), std::nullopt);
  // Present but of the wrong type is still an error.
  EXPECT_THROW(c.decodeIfPresent<int>("c"), DecodingError);
  EXPECT_TRUE(c.superDecoder("z").decodeNil());
  EXPECT_EQ(c.superDecoder("c").decode<std::string>(), "x");
  EXPECT_EQ(codingPathString(c.superDecoder("z").codingPath()), "z");
}

TEST(Containers, UnkeyedNilAndOptionalElements) {
  boost::json::value doc = JSONDecoder::parse(R"([null,2,null])");
  DecodingOptions options;
  UnkeyedDecodingContainer list = Decoder(doc, options).unkeyedContainer();
  EXPECT_EQ(list.count(), 3u);
  EXPECT_EQ(list.decodeIfPresent<int>(), std::nullopt);
  EXPECT_FALSE(list.decodeNil());  // a value is not consumed
  EXPECT_EQ(list.currentIndex(), 1u);
  EXPECT_EQ(list.decodeIfPresent<int>(), 2);
  EXPECT_TRUE(list.decodeNil());
  EXPECT_TRUE(list.isAtEnd());
  EXPECT_FALSE(list.decodeNil());
  EXPECT_THROW(list.decodeIfPresent<int>(), DecodingError);
  EXPECT_THROW(list.superDecoder(), DecodingError);
  EXPECT_EQ(JSONDecoder().decode<std::vector<std::optional<int>>>("[1,null]"),
            (std::vector<std::optional<int>>{1, std::nullopt}));
}

TEST(Containers, TreesInAndOut) {
  boost::json::value tree = JSONEncoder().encodeToJSON(Tagged{true, {7}, 1});
  EXPECT_EQ(tree.at("values").at(0).as_int64(), 7);
  EXPECT_EQ(JSONDecoder().decodeFromJSON<Tagged>(tree).values, std::vector<int>{7});
  // A JSON value member passes through untouched.
  auto passed = JSONDecoder().decode<std::map<std::string, boost::json::value>>(
      R"({"any":{"x":[1,"a",null]}})");
  EXPECT_EQ(JSONEncoder().encodeToString(passed), R"({"any":{"x":[1,"a",null]}})");
}

TEST(Containers, PathsOutliveTheKeysCallersPass) {
  // Keys built on the fly: errors raised later still name them.
  boost::json::value doc = JSONDecoder::parse(R"({"item-7":{"n":"x"}})");
  DecodingOptions options;
  KeyedDecodingContainer c = Decoder(doc, options).container();
  KeyedDecodingContainer nested = c.nestedContainer(std::string("item-") + std::to_string(7));
  try {
    nested.decode<int>(std::string("n"));
    ADD_FAILURE();
  } catch (const DecodingError& error) {
    EXPECT_EQ(codingPathString(error.context().codingPath), "item-7.n");
  }
  boost::json::value out;
  EncodingOptions encodingOptions;
  Encoder encoder(out, encodingOptions);
  KeyedEncodingContainer root = encoder.container();
  KeyedEncodingContainer inner = root.nestedContainer(std::string("k") + "ey");
  try {
    inner.encode(std::nan(""), "x");
    ADD_FAILURE();
  } catch (const EncodingError& error) {
    EXPECT_EQ(codingPathString(error.context().codingPath), "key.x");
  }
}

}  // namespace
}  // namespace zorlan::container_test
