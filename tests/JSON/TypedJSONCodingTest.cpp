#include <gtest/gtest.h>

#include <boost/json/value.hpp>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/JSON/TypedJSONContainer.hpp"
#include "zorlan/JSON/TypedJSONRepresentation.hpp"

namespace zorlan::typed_json_test {

struct Artwork {
  std::string url;
  double aspectRatio = 0;
  std::optional<std::string> label;
};
ZORLAN_CODABLE(Artwork, url, aspectRatio, label);

struct Shelf {
  std::string name;
  std::vector<Artwork> artwork;
  std::map<std::string, int> counts;
};
ZORLAN_CODABLE(Shelf, name, artwork, counts);

struct Envelope {
  int version = 0;
  TypedJSONContainer<std::string> payload;
};
ZORLAN_CODABLE(Envelope, version, payload);

namespace {

using Kind = TypedJSON::Kind;

TypedJSON parse(std::string_view json) { return JSONDecoder().decode<TypedJSON>(json); }

std::string text(const TypedJSON& tree) {
  JSONEncoder encoder;
  encoder.outputFormatting.sortedKeys = true;
  return encoder.encodeToString(tree);
}

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

TEST(TypedJSONCodingTest, EveryKindOfDocumentDecodesToItsCase) {
  struct Case {
    const char* json;
    Kind kind;
  };
  const Case cases[] = {
      {R"("1")", Kind::value}, {"1", Kind::value},
      {"true", Kind::value},   {"null", Kind::null},
      {"[]", Kind::array},     {"{}", Kind::object},
      {"[null]", Kind::array}, {R"({"a":[]})", Kind::object},
  };
  for (const auto& c : cases) EXPECT_EQ(parse(c.json).kind(), c.kind) << c.json;
  EXPECT_EQ(parse(R"("1")"), TypedJSON(TypedJSONValue::string("1")));
  EXPECT_EQ(parse("1"), TypedJSON(TypedJSONValue::number(1.0)));
  EXPECT_EQ(parse("true"), TypedJSON(TypedJSONValue::boolean(true)));
  EXPECT_EQ(parse("[null]"), TypedJSON::array({TypedJSON()}));
  EXPECT_EQ(parse(R"({"a":{"b":[1,"x",false,null]}})"),
            TypedJSON::object(
                {{"a", TypedJSON::object({{"b", TypedJSON::array({1, "x", false, nullptr})}})}}));
}

// The order at each level is: object, array, leaf, null. Leaf types that can
// read objects, arrays or null show which attempt wins.
TEST(TypedJSONCodingTest, EachLevelTriesObjectThenArrayThenLeafThenNull) {
  using Json = TypedJSONContainer<boost::json::value>;
  // A leaf that reads anything: objects and arrays still become containers,
  // but null becomes a leaf, since the leaf comes before null.
  const Json any = JSONDecoder().decode<Json>(std::string_view(R"({"o":{},"a":[1],"n":null})"));
  ASSERT_TRUE(any.isObject());
  EXPECT_TRUE(any["o"]->isObject());
  EXPECT_TRUE(any["a"]->isArray());
  EXPECT_TRUE((*any["a"]->elements())[0].isValue());
  ASSERT_TRUE(any["n"]->isValue());
  EXPECT_TRUE(any["n"]->leaf()->is_null());

  using Maybe = TypedJSONContainer<std::optional<std::string>>;
  const Maybe maybe = JSONDecoder().decode<Maybe>(std::string_view(R"(["x",null])"));
  ASSERT_TRUE(maybe.isArray());
  EXPECT_EQ((*maybe.elements())[0].value(), std::optional<std::string>("x"));
  EXPECT_TRUE((*maybe.elements())[1].isValue());  // the leaf read the null

  // A leaf that reads arrays of numbers: an array whose elements are not all
  // containers of such leaves falls through to the leaf.
  using Numbers = TypedJSONContainer<std::vector<double>>;
  const Numbers numbers = JSONDecoder().decode<Numbers>(std::string_view("[[1,2],[3]]"));
  ASSERT_TRUE(numbers.isArray());
  EXPECT_EQ((*numbers.elements())[0].value(), (std::vector<double>{1, 2}));
  EXPECT_EQ((*numbers.elements())[1].value(), (std::vector<double>{3}));
  EXPECT_EQ(JSONDecoder().decode<Numbers>(std::string_view("[1,2]")).value(),
            (std::vector<double>{1, 2}));
  EXPECT_TRUE(JSONDecoder().decode<Numbers>(std::string_view("[]")).isArray());

  // Likewise a leaf that reads objects of numbers.
  using Counts = TypedJSONContainer<std::map<std::string, int>>;
  const Counts counts = JSONDecoder().decode<Counts>(std::string_view(R"({"a":{"x":1},"b":{}})"));
  ASSERT_TRUE(counts.isObject());
  EXPECT_EQ(counts["a"]->value(), (std::map<std::string, int>{{"x", 1}}));
  EXPECT_TRUE(counts["b"]->isObject());  // an empty object is an object of containers
  EXPECT_EQ(JSONDecoder().decode<Counts>(std::string_view(R"({"x":1})")).value(),
            (std::map<std::string, int>{{"x", 1}}));
}

TEST(TypedJSONCodingTest, ANestedFailureSurfacesAtTheFirstLevelWithNoOtherReading) {
  using Texts = TypedJSONContainer<std::string>;
  const char* failing[] = {"1", "true", R"({"a":1})", R"(["x",["y",2]])", R"({"a":{"b":[false]}})"};
  for (const char* json : failing) {
    DecodingError error = decodingError<Texts>(json);
    EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted) << json;
    EXPECT_EQ(error.context().debugDescription, "Invalid JSON value b.") << json;
    EXPECT_TRUE(error.context().codingPath.empty()) << json;
    EXPECT_EQ(error.context().underlyingError, nullptr) << json;
  }
  EXPECT_EQ(JSONDecoder().decode<Texts>(std::string_view(R"({"a":["x",null]})"))["a"]->kind(),
            Texts::Kind::array);

  // Inside another value, the error carries the path to the container.
  DecodingError nested = decodingError<Envelope>(R"({"version":1,"payload":{"a":{"b":2}}})");
  EXPECT_EQ(nested.context().debugDescription, "Invalid JSON value b.");
  EXPECT_EQ(codingPathString(nested.context().codingPath), "payload");
  DecodingError inArray = decodingError<std::vector<Envelope>>(
      R"([{"version":1,"payload":"ok"},{"version":1,"payload":3}])");
  EXPECT_EQ(codingPathString(inArray.context().codingPath), "1.payload");

  // Errors that are not the container's own pass through unchanged.
  DecodingError notJSON = decodingError<TypedJSON>("{");
  EXPECT_EQ(notJSON.context().debugDescription, "The given data was not valid JSON.");
  DecodingError missing = decodingError<Envelope>(R"({"payload":"x"})");
  EXPECT_EQ(missing.kind(), DecodingError::Kind::keyNotFound);
}

TEST(TypedJSONCodingTest, TheStandardLeafReadsEveryJSONDocument) {
  // Numbers beyond a double parse as infinite, which no leaf reads.
  for (const char* json : {"1e400", "[1e400]", R"({"a":-1e999})"}) {
    try {
      parse(json);
      ADD_FAILURE() << json;
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.context().debugDescription, "Invalid JSON value b.") << json;
    }
  }
  const TypedJSON deep = parse(std::string(500, '[') + std::string(500, ']'));
  EXPECT_TRUE(deep.isArray());
}

TEST(TypedJSONCodingTest, EncodingThenDecodingGivesAnEqualTree) {
  const char* documents[] = {
      "null",
      "3",
      R"("x\"y")",
      R"({"b":[1,2.5,"x",true,null,{}],"a":{"c":-0.001,"d":[]}})",
      R"([[],[[null]],{"":""},1e300,-0.5])",
      R"({"\u00e9t\u00e9":"\ud83c\udfac","k\/":"a\nb"})",
  };
  for (const char* json : documents) {
    const TypedJSON tree = parse(json);
    const std::string once = text(tree);
    EXPECT_EQ(parse(once), tree) << json;
    EXPECT_EQ(text(parse(once)), once) << json;
  }
  // Integers come back as doubles, written in their shortest form.
  EXPECT_EQ(text(parse(R"({"n":3,"m":-0,"f":2.50})")), R"({"f":2.5,"m":-0,"n":3})");
  EXPECT_EQ(*parse("3").leaf(), TypedJSONValue::number(3.0));
}

// Text read straight into the tree, and the tree written straight to text,
// give what the general path through a parsed tree gives: the same tree and
// text, or an error with the same kind, text and path.
TEST(TypedJSONCodingTest, TheDirectTextPathsMatchTheGeneralPath) {
  const auto outcome = [](auto&& run) -> std::string {
    try {
      return "ok " + run();
    } catch (const DecodingError& error) {
      return "decoding " + error.context().debugDescription + " at " +
             codingPathString(error.context().codingPath);
    } catch (const EncodingError& error) {
      return "encoding " + error.context().debugDescription + " at " +
             codingPathString(error.context().codingPath);
    }
  };
  const std::string documents[] = {
      R"({"k":1,"j":[{"b":2,"a":3}],"k":"last","\u006b":true})",  // repeated keys
      R"({"a\"b":"c\\d\/e","\ud83c\udfac":[-0,1e-7,123456789012345678901234567890]})",
      R"({"n":1e400})",
      "[0e400,-0e-400]",
      "{",
      "[1,]",
      "\xEF\xBB\xBF[]",
      std::string("\xFF\xFE[\0]\0", 6),  // UTF-16, little-endian
      std::string(512, '[') + std::string(512, ']'),
      std::string(513, '[') + std::string(513, ']')};
  for (const std::string& json : documents) {
    const auto direct = [&] { return text(JSONDecoder().decode<TypedJSON>(json)); };
    const auto general = [&] {
      return text(JSONDecoder().decodeFromJSON<TypedJSON>(JSONDecoder::parse(json)));
    };
    EXPECT_EQ(outcome(direct), outcome(general)) << json;
  }
  TypedJSON deep;
  for (int i = 0; i < 512; ++i) deep = TypedJSON::array({deep});
  const TypedJSON trees[] = {
      parse(R"({"b":{"y":[1,"a/b",{}],"x":null},"a":[],"c":"\u00e9"})"),
      TypedJSON::object({{"z", std::string("\xFF")}, {"a", std::nan("")}}),  // NaN reported first
      TypedJSON::object({{"\xC3", 1}}), deep, TypedJSON::array({deep})};
  for (const TypedJSON& tree : trees) {
    for (const bool pretty : {false, true}) {
      JSONEncoder encoder;
      encoder.outputFormatting.prettyPrinted = pretty;
      encoder.outputFormatting.withoutEscapingSlashes = pretty;
      encoder.outputFormatting.sortedKeys = pretty;
      const auto direct = [&] { return encoder.encodeToString(tree); };
      const auto general = [&] {
        return writeJSON(encoder.encodeToJSON(tree), encoder.outputFormatting);
      };
      EXPECT_EQ(outcome(direct), outcome(general)) << pretty;
    }
  }
}

TEST(TypedJSONCodingTest, DebugDescriptionIsPrettyPrintedJSONOrEmpty) {
  EXPECT_EQ(parse(R"({"a":[1,"x/y"]})").debugDescription(),
            "{\n  \"a\" : [\n    1,\n    \"x\\/y\"\n  ]\n}");
  EXPECT_EQ(TypedJSON().debugDescription(), "null");
  EXPECT_EQ(TypedJSON(0.5).debugDescription(), "0.5");

  TypedJSON bad = TypedJSON::object({{"n", std::numeric_limits<double>::quiet_NaN()}});
  EXPECT_EQ(bad.debugDescription(), "");
  EXPECT_EQ(TypedJSON(std::string("\xFF")).debugDescription(), "");
  // Nested deeper than the coders allow.
  TypedJSON deep;
  for (int i = 0; i < 600; ++i) deep = TypedJSON::array({deep});
  EXPECT_EQ(deep.debugDescription(), "");
  EXPECT_THROW(JSONEncoder().encodeToString(deep), EncodingError);
}

TEST(TypedJSONCodingTest, RoughlyEqualWalksNestedTreesWithTheTolerance) {
  struct Case {
    const char* lhs;
    const char* rhs;
    double within;
    bool expected;
  };
  const Case cases[] = {
      {R"({"a":{"b":[1.0,2.0]},"c":"x"})", R"({"c":"x","a":{"b":[1.04,1.97]}})", 0.05, true},
      {R"({"a":{"b":[1.0,2.0]},"c":"x"})", R"({"c":"x","a":{"b":[1.04,1.94]}})", 0.05, false},
      {R"({"a":{"b":[1.0,2.0]},"c":"x"})", R"({"c":"y","a":{"b":[1.0,2.0]}})", 1.0, false},
      {R"({"a":1})", R"({"a":1,"b":2})", 1.0, false},  // more members
      {R"({"a":1,"b":2})", R"({"a":1})", 1.0, false},
      {R"({"a":1})", R"({"b":1})", 1.0, false},  // same count, other key
      {R"({"a":null})", R"({"a":null})", 0.0, true},
      {R"({"a":null})", R"({"a":0})", 1.0, false},
      {"[1,2,3]", "[1,2]", 0.001, true},  // lengths are not compared
      {"[1,2]", "[1,2,3]", 0.001, true},
      {"[]", R"([{"a":1}])", 0.001, true},
      {"[1,2]", "[1,5]", 1.0, false},
      {"[[1],[2,3]]", "[[1.01],[2]]", 0.1, true},
      {"[1]", R"({"0":1})", 100.0, false},
      {"[]", "{}", 100.0, false},
      {"null", "null", 0.0, true},
      {"null", "[]", 100.0, false},
      {"1.0", "1.05", 0.1, true},
      {"1.0", "1.05", 0.05, false},
      {"2.0", "2.5", 0.5, false},
      {R"("1")", "1", 100.0, false},
      {"true", "1", 100.0, false},
  };
  for (const auto& c : cases) {
    const TypedJSON lhs = parse(c.lhs);
    const TypedJSON rhs = parse(c.rhs);
    EXPECT_EQ(lhs.roughlyEqual(rhs, c.within), c.expected)
        << c.lhs << " vs " << c.rhs << " within " << c.within;
    EXPECT_EQ(zorlan::roughlyEqual(lhs, rhs, c.within), c.expected) << c.lhs << " vs " << c.rhs;
  }
  static_assert(RoughlyEqual<TypedJSON>);
  static_assert(RoughlyEqual<std::vector<TypedJSON>>);
  static_assert(!RoughlyEqual<TypedJSONContainer<std::string>>);
}

TEST(TypedJSONCodingTest, TypedJSONRepresentationIsWhatTheEncodedBytesReadAs) {
  const Shelf shelf{
      "Hero", {{"https://a/1.jpg", 1.78, "hero"}, {"u", 0.5, std::nullopt}}, {{"n", 3}}};
  const TypedJSON tree = typedJSONRepresentation(shelf);
  EXPECT_EQ(text(tree),
            R"({"artwork":[{"aspectRatio":1.78,"label":"hero","url":"https:\/\/a\/1.jpg"},)"
            R"({"aspectRatio":0.5,"url":"u"}],"counts":{"n":3},"name":"Hero"})");
  EXPECT_EQ((*tree["counts"])["n"], TypedJSON(3.0));
  EXPECT_EQ(typedJSONRepresentation(7), TypedJSON(7.0));
  EXPECT_EQ(typedJSONRepresentation(std::optional<int>()), TypedJSON());
  EXPECT_EQ(typedJSONRepresentation(tree), tree);

  EXPECT_THROW(typedJSONRepresentation(std::numeric_limits<double>::infinity()), EncodingError);
  EXPECT_THROW(typedJSONRepresentation(Artwork{"\xC0", 1, {}}), EncodingError);
}

TEST(TypedJSONCodingTest, CodableValuesCompareRoughlyThroughTheirTrees) {
  const Artwork a{"u", 1.78, "hero"};
  EXPECT_TRUE(roughlyEqual(a, Artwork{"u", 1.7801, "hero"}, 0.001));
  EXPECT_FALSE(roughlyEqual(a, Artwork{"u", 1.79, "hero"}, 0.001));
  EXPECT_FALSE(roughlyEqual(a, Artwork{"v", 1.78, "hero"}, 1.0));
  EXPECT_FALSE(roughlyEqual(a, Artwork{"u", 1.78, std::nullopt}, 1.0));  // a member fewer

  // Arrays of codable values keep the prefix rule of trees.
  const std::vector<Artwork> two = {a, {"w", 2.0, {}}};
  EXPECT_TRUE(roughlyEqual(two, std::vector<Artwork>{a}, 0.001));
  EXPECT_FALSE(roughlyEqual(two, std::vector<Artwork>{{"w", 2.0, {}}}, 0.001));

  // A value that cannot be encoded is roughly equal to nothing, itself included.
  const Artwork broken{"u", std::numeric_limits<double>::quiet_NaN(), {}};
  EXPECT_FALSE(roughlyEqual(broken, broken, 1e300));
  const Shelf shelf{"s", {a}, {{"x", 1}}};
  EXPECT_TRUE(roughlyEqual(shelf, shelf, 1e-9));
  EXPECT_FALSE(roughlyEqual(shelf, Shelf{"s", {a}, {{"x", 2}}}, 0.5));
}

TEST(TypedJSONCodingTest, ContainersCodeInsideOtherValues) {
  const Envelope envelope = JSONDecoder().decode<Envelope>(
      std::string_view(R"({"version":2,"payload":{"k":["a",null]}})"));
  EXPECT_EQ(envelope.version, 2);
  EXPECT_EQ(JSONEncoder().encodeToString(envelope), R"({"version":2,"payload":{"k":["a",null]}})");

  const std::map<std::string, TypedJSON> map =
      JSONDecoder().decode<std::map<std::string, TypedJSON>>(
          std::string_view(R"({"a":1,"b":null})"));
  EXPECT_EQ(map.at("a"), TypedJSON(1));
  EXPECT_TRUE(map.at("b").isNull());
}

}  // namespace
}  // namespace zorlan::typed_json_test
