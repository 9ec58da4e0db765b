// zorlan/JSON/TypedJSONValue.hpp, TypedJSONContainer.hpp, TypedJSONRepresentation.hpp: typed
// JSON leaves and trees, how they decode and encode, change, compare and describe themselves.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <unordered_set>

#include "support/JSONCodingTestSupport.hpp"
#include "zorlan/JSON/TypedJSONRepresentation.hpp"

namespace zorlan::typed_json_test {

using testing::Artwork;

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

struct Holder {
  TypedJSONValue leaf;
};
ZORLAN_CODABLE(Holder, leaf);

namespace {

using Kind = TypedJSON::Kind;
using testing::decodeOutcome;
using testing::decodingError;
using testing::parseTyped;
using testing::sortedText;

template <class T>
T decoded(std::string_view json) {
  return JSONDecoder().decode<T>(json);
}

TEST(TypedJSONValue, DecodesStringsBooleansAndNumbersAsTheirOwnCaseOnly) {
  // A string of digits stays a string; true is never the number 1.
  // clang-format off
  const std::pair<const char*, TypedJSONValue> cases[] = {
      {R"("1")", TypedJSONValue::string("1")}, {R"("true")", TypedJSONValue::string("true")},
      {"1e3", TypedJSONValue::number(1000.0)}, {"true", TypedJSONValue::boolean(true)},
      {"18446744073709551615", TypedJSONValue::number(18446744073709551615.0)}};
  // clang-format on
  for (const auto& [json, expected] : cases) {
    const auto value = decoded<TypedJSONValue>(json);
    EXPECT_EQ(value, expected) << json;
    EXPECT_EQ(value.kind(), expected.kind()) << json;
  }
  for (const char* json : {"null", "[]", R"({"a":1})"}) {
    const DecodingError error = decodingError<TypedJSONValue>(json);
    EXPECT_EQ(testing::describe(error), "dataCorrupted [] Invalid JSON value a.") << json;
    EXPECT_EQ(error.context().underlyingError, nullptr) << json;
  }
  EXPECT_EQ(decodeOutcome<std::vector<Holder>>(R"([{"leaf":1},{"leaf":null}])"),
            "dataCorrupted [1.leaf] Invalid JSON value a.");

  const JSONEncoder encoder;
  EXPECT_EQ(encoder.encodeToString(std::vector<TypedJSONValue>{"a/b", 3, -1.5, false, "false"}),
            R"(["a\/b",3,-1.5,false,"false"])");
  EXPECT_THROW(encoder.encodeToString(TypedJSONValue(std::numeric_limits<double>::infinity())),
               EncodingError);
}

TEST(TypedJSONValue, CaseComesFromTheArgumentTypeAndDecidesEqualityAndHashing) {
  EXPECT_EQ(TypedJSONValue("x").kind(), TypedJSONValue::Kind::string);  // not the pointer's bool
  EXPECT_EQ(TypedJSONValue(4).stringValue(), nullptr);
  EXPECT_EQ(TypedJSONValue(4).boolValue(), std::nullopt);

  // "1", 1 and true are three values; 0, false and "" are told apart among trees below.
  EXPECT_EQ(TypedJSONValue(0.0), TypedJSONValue(-0.0));
  EXPECT_EQ(std::hash<TypedJSONValue>()(0.0), std::hash<TypedJSONValue>()(-0.0));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_NE(TypedJSONValue(nan), TypedJSONValue(nan));  // exact double equality
  const std::unordered_set<TypedJSONValue> set = {"1", 1, true, 1.0, std::string("1")};
  EXPECT_EQ(set.size(), 3u);
}

TEST(TypedJSONValue, DebugDescriptionQuotesStringsAndKeepsNumbersReadable) {
  // Ill-formed UTF-8 reads as U+FFFD.
  // clang-format off
  const std::pair<TypedJSONValue, std::string> cases[] = {
      {"say \"hi\"", R"("say \"hi\"")"}, {"back\\slash", R"("back\\slash")"},
      {"a\nb\tc\rd", R"("a\nb\tc\rd")"}, {std::string("nul\0!", 5), R"("nul\0!")"},
      {"\x1b[0m\x7f", R"("\u{1b}[0m\u{7f}")"}, {"bad\xFF", "\"bad\xEF\xBF\xBD\""},
      {"caf\xC3\xA9 \xF0\x9F\x8E\xAC", "\"caf\xC3\xA9 \xF0\x9F\x8E\xAC\""},
      {3, "3.0"}, {0.1, "0.1"}, {1e20, "1e+20"}, {123456789.0, "123456789.0"}, {5e-324, "5e-324"},
      {false, "false"}};
  // clang-format on
  for (const auto& [value, expected] : cases) EXPECT_EQ(value.debugDescription(), expected);
}

TEST(TypedJSON, EveryDocumentDecodesToItsCaseAndEncodesBackToAnEqualTree) {
  const std::pair<const char*, Kind> kinds[] = {
      {R"("1")", Kind::value}, {"null", Kind::null}, {"[]", Kind::array}, {"{}", Kind::object}};
  for (const auto& [json, kind] : kinds) EXPECT_EQ(parseTyped(json).kind(), kind) << json;
  EXPECT_EQ(parseTyped(R"({"a":{"b":[1,"x",false,null]}})"),
            TypedJSON::object(
                {{"a", TypedJSON::object({{"b", TypedJSON::array({1, "x", false, nullptr})}})}}));
  for (const char* json : {R"({"b":[1,2.5,"x",true,null,{}],"a":{"c":-0.001}})",
                           R"([[],[[null]],{"":""},1e300,-0.5,"\ud83c\udfac\/\n"])"}) {
    const std::string once = sortedText(parseTyped(json));
    EXPECT_EQ(parseTyped(once), parseTyped(json)) << json;
    EXPECT_EQ(sortedText(parseTyped(once)), once) << json;
  }
  // Integers come back as doubles, written in their shortest form.
  EXPECT_EQ(sortedText(parseTyped(R"({"n":3,"m":-0,"f":2.50})")), R"({"f":2.5,"m":-0,"n":3})");
  // Numbers beyond a double parse as infinite, which no leaf reads.
  for (const char* json : {"1e400", R"({"a":[-1e999]})"}) {
    EXPECT_EQ(decodeOutcome<TypedJSON>(json), "dataCorrupted [] Invalid JSON value b.") << json;
  }
}

// The order at each level is: object, array, leaf, null. Leaf types that can read objects,
// arrays or null show which attempt wins.
TEST(TypedJSON, EachLevelTriesObjectThenArrayThenLeafThenNull) {
  using Json = TypedJSONContainer<boost::json::value>;
  const auto any = decoded<Json>(R"({"o":{},"a":[1],"n":null})");
  ASSERT_TRUE(any.isObject());
  EXPECT_TRUE(any["o"]->isObject());
  EXPECT_TRUE(any["a"]->isArray());
  EXPECT_TRUE((*any["a"]->elements())[0].isValue());
  ASSERT_TRUE(any["n"]->isValue());  // the leaf comes before null
  EXPECT_TRUE(any["n"]->leaf()->is_null());

  using Maybe = TypedJSONContainer<std::optional<std::string>>;
  const auto maybe = decoded<Maybe>(R"(["x",null])");
  EXPECT_EQ((*maybe.elements())[0].value(), std::optional<std::string>("x"));
  EXPECT_TRUE((*maybe.elements())[1].isValue());

  // An array whose elements are not all containers of such leaves falls through to the leaf.
  using Numbers = TypedJSONContainer<std::vector<double>>;
  const auto numbers = decoded<Numbers>("[[1,2],[3]]");
  ASSERT_TRUE(numbers.isArray());
  EXPECT_EQ((*numbers.elements())[1].value(), (std::vector<double>{3}));
  EXPECT_EQ(decoded<Numbers>("[1,2]").value(), (std::vector<double>{1, 2}));
  EXPECT_TRUE(decoded<Numbers>("[]").isArray());
  using Counts = TypedJSONContainer<std::map<std::string, int>>;
  const auto counts = decoded<Counts>(R"({"a":{"x":1},"b":{}})");
  EXPECT_EQ(counts["a"]->value(), (std::map<std::string, int>{{"x", 1}}));
  EXPECT_TRUE(counts["b"]->isObject());  // an empty object is an object of containers
  EXPECT_EQ(decoded<Counts>(R"({"x":1})").value(), (std::map<std::string, int>{{"x", 1}}));
}

TEST(TypedJSON, ANestedFailureSurfacesAtTheFirstLevelWithNoOtherReading) {
  using Texts = TypedJSONContainer<std::string>;
  for (const char* json : {"1", "true", R"({"a":1})", R"(["x",["y",2]])", R"({"a":{"b":[0]}})"}) {
    const DecodingError error = decodingError<Texts>(json);
    EXPECT_EQ(testing::describe(error), "dataCorrupted [] Invalid JSON value b.") << json;
    EXPECT_EQ(error.context().underlyingError, nullptr) << json;
  }
  EXPECT_TRUE(decoded<Texts>(R"({"a":["x",null]})")["a"]->isArray());
  // Inside another value, the error carries the path to the container; errors that are not
  // the container's own pass through unchanged.
  EXPECT_EQ(decodeOutcome<Envelope>(R"({"version":1,"payload":{"a":{"b":2}}})"),
            "dataCorrupted [payload] Invalid JSON value b.");
  EXPECT_EQ(decodingError<Envelope>(R"({"payload":"x"})").kind(), DecodingError::Kind::keyNotFound);

  const auto envelope = decoded<Envelope>(R"({"version":2,"payload":{"k":["a",null]}})");
  EXPECT_EQ(JSONEncoder().encodeToString(envelope), R"({"version":2,"payload":{"k":["a",null]}})");
}

// Text read straight into the tree, and the tree written straight to text, give what the
// general path through a parsed tree gives: the same tree and text, or an error with the same
// kind, text and path.
TEST(TypedJSON, TheDirectTextPathsMatchTheGeneralPath) {
  const auto outcome = [](auto&& run) -> std::string {
    const auto where = [](const std::string& kind, const auto& error) {
      return kind + error.context().debugDescription + " at " +
             codingPathString(error.context().codingPath);
    };
    try {
      return "ok " + run();
    } catch (const DecodingError& error) {
      return where("decoding ", error);
    } catch (const EncodingError& error) {
      return where("encoding ", error);
    }
  };
  // Repeated keys, escapes, numbers beyond double, broken text, a UTF-16 document, depth.
  // clang-format off
  const std::string documents[] = {
      R"({"k":1,"j":[{"b":2,"a":3}],"k":"last","\u006b":true})",
      R"({"a\"b":"c\\d\/e","\ud83c\udfac":[-0,1e-7,123456789012345678901234567890]})",
      R"({"n":1e400})", "[0e400,-0e-400]", "{", "\xEF\xBB\xBF[]",
      std::string("\xFF\xFE[\0]\0", 6), std::string(512, '[') + std::string(512, ']'),
      std::string(513, '[') + std::string(513, ']')};
  // clang-format on
  for (const std::string& json : documents) {
    const auto direct = [&] { return sortedText(JSONDecoder().decode<TypedJSON>(json)); };
    const auto general = [&] {
      return sortedText(JSONDecoder().decodeFromJSON<TypedJSON>(JSONDecoder::parse(json)));
    };
    EXPECT_EQ(outcome(direct), outcome(general)) << json;
  }
  TypedJSON deep;
  for (int i = 0; i < 512; ++i) deep = TypedJSON::array({deep});
  const TypedJSON trees[] = {
      parseTyped(R"({"b":{"y":[1,"a/b",{}],"x":null},"a":[],"c":"\u00e9"})"),
      TypedJSON::object({{"z", std::string("\xFF")}, {"a", std::nan("")}}),  // NaN reported first
      TypedJSON::object({{"\xC3", 1}}), deep, TypedJSON::array({deep}),
      // Texts past the length whose escaped size is measured rather than bounded.
      TypedJSON::array({std::string(5000, '/') + "\xC3\xA9\n", true, false}),
      TypedJSON::array({std::string(5000, 'a') + "\xFF"})};
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

TEST(TypedJSON, DebugDescriptionIsPrettyPrintedJSONOrEmpty) {
  EXPECT_EQ(parseTyped(R"({"a":[1,"x/y"]})").debugDescription(),
            "{\n  \"a\" : [\n    1,\n    \"x\\/y\"\n  ]\n}");
  EXPECT_EQ(TypedJSON().debugDescription(), "null");
  EXPECT_EQ(TypedJSON(0.5).debugDescription(), "0.5");
  EXPECT_EQ(TypedJSON::object({{"n", std::numeric_limits<double>::quiet_NaN()}}).debugDescription(),
            "");
  EXPECT_EQ(TypedJSON(std::string("\xFF")).debugDescription(), "");
}

TEST(TypedJSON, RepresentationIsWhatTheEncodedBytesReadAs) {
  const Shelf shelf{
      "Hero", {{"https://a/1.jpg", 1.78, "hero"}, {"u", 0.5, std::nullopt}}, {{"n", 3}}};
  const TypedJSON tree = typedJSONRepresentation(shelf);
  EXPECT_EQ(sortedText(tree),
            R"({"artwork":[{"aspectRatio":1.78,"label":"hero","url":"https:\/\/a\/1.jpg"},)"
            R"({"aspectRatio":0.5,"url":"u"}],"counts":{"n":3},"name":"Hero"})");
  EXPECT_EQ(typedJSONRepresentation(7), TypedJSON(7.0));
  EXPECT_EQ(typedJSONRepresentation(std::optional<int>()), TypedJSON());
  EXPECT_EQ(typedJSONRepresentation(tree), tree);
  EXPECT_THROW(typedJSONRepresentation(Artwork{"\xC0", 1, {}}), EncodingError);
}

TEST(TypedJSON, RoughlyEqualWalksTreesComparingNumbersStrictlyWithinTheTolerance) {
  // Left, right, tolerance, expected. A difference equal to the tolerance is too much; lengths of
  // arrays are not compared.
  const char* const shared = R"({"a":{"b":[1.0,2.0]},"c":"x"})";
  // clang-format off
  const std::tuple<const char*, const char*, double, bool> cases[] = {
      {"2.0", "2.5", 0.5, false}, {"2.5", "2.0", 0.51, true}, {"3.0", "3.0", 0.0, false},
      {R"("a")", R"("a")", 0.0, true}, {R"("a")", R"("A")", 100.0, false},
      {R"("1")", "1", 100.0, false}, {"true", "true", 0.0, true}, {"true", "false", 100.0, false},
      {"true", "1", 100.0, false},
      {shared, R"({"c":"x","a":{"b":[1.04,1.97]}})", 0.05, true},
      {shared, R"({"c":"x","a":{"b":[1.04,1.94]}})", 0.05, false},
      {shared, R"({"c":"y","a":{"b":[1.0,2.0]}})", 1.0, false},
      {R"({"a":1})", R"({"a":1,"b":2})", 1.0, false},
      {R"({"a":1,"b":2})", R"({"a":1})", 1.0, false},
      {R"({"a":1})", R"({"b":1})", 1.0, false}, {R"({"a":null})", R"({"a":null})", 0.0, true},
      {R"({"a":null})", R"({"a":0})", 1.0, false}, {"[1,2,3]", "[1,2]", 0.001, true},
      {"[1,2]", "[1,2,3]", 0.001, true}, {"[1,2]", "[1,5]", 1.0, false},
      {"[[1],[2,3]]", "[[1.01],[2]]", 0.1, true}, {"[1]", R"({"0":1})", 100.0, false},
      {"null", "null", 0.0, true}, {"null", "[]", 100.0, false}};
  // clang-format on
  for (const auto& [left, right, within, expected] : cases) {
    SCOPED_TRACE(std::string(left) + " vs " + right + " within " + std::to_string(within));
    const TypedJSON lhs = parseTyped(left), rhs = parseTyped(right);
    EXPECT_EQ(lhs.roughlyEqual(rhs, within), expected);
    EXPECT_EQ(zorlan::roughlyEqual(lhs, rhs, within), expected);
    if (lhs.leaf() && rhs.leaf()) {
      EXPECT_EQ(lhs.leaf()->roughlyEqual(*rhs.leaf(), within), expected);
      EXPECT_EQ(zorlan::roughlyEqual(*lhs.leaf(), *rhs.leaf(), within), expected);
    }
  }
}

TEST(TypedJSON, CodableValuesCompareRoughlyThroughTheirTrees) {
  const Artwork a{"u", 1.78, "hero"};
  EXPECT_TRUE(roughlyEqual(a, Artwork{"u", 1.7801, "hero"}, 0.001));
  EXPECT_FALSE(roughlyEqual(a, Artwork{"u", 1.78, std::nullopt}, 1.0));  // a member fewer
  // Arrays of codable values keep the prefix rule of trees.
  const std::vector<Artwork> two = {a, {"w", 2.0, {}}};
  EXPECT_TRUE(roughlyEqual(two, std::vector<Artwork>{a}, 0.001));
  EXPECT_FALSE(roughlyEqual(two, std::vector<Artwork>{{"w", 2.0, {}}}, 0.001));
  // A value that cannot be encoded is roughly equal to nothing, itself included.
  const Artwork broken{"u", std::numeric_limits<double>::quiet_NaN(), {}};
  EXPECT_FALSE(roughlyEqual(broken, broken, 1e300));
}

TEST(TypedJSON, ReadsAndSubscriptWritesAnswerForTheirOwnCaseOnly) {
  for (const TypedJSON& shape : {TypedJSON::object({{"a", 1}, {"b", "x"}}),
                                 TypedJSON::array({1, "a"}), TypedJSON("a"), TypedJSON()}) {
    SCOPED_TRACE(sortedText(shape));
    EXPECT_EQ(shape.members() != nullptr, shape.kind() == Kind::object);
    EXPECT_EQ(shape.elements() != nullptr, shape.kind() == Kind::array);
    EXPECT_EQ(shape.leaf() != nullptr, shape.kind() == Kind::value);
    EXPECT_EQ(shape.value().has_value(), shape.kind() == Kind::value);
    EXPECT_EQ(shape["a"], shape.isObject() ? std::optional(TypedJSON(1)) : std::nullopt);
    EXPECT_EQ(shape.member("a") != nullptr, shape.isObject());
    EXPECT_EQ(shape["missing"], std::nullopt);
    TypedJSON written = shape, removed = shape;
    written["a"] = TypedJSON(true);
    written["c"] = TypedJSON::array({});
    removed["a"] = std::nullopt;
    removed["absent"] = std::nullopt;
    EXPECT_EQ(sortedText(written),
              shape.isObject() ? R"({"a":true,"b":"x","c":[]})" : sortedText(shape));
    EXPECT_EQ(sortedText(removed), shape.isObject() ? R"({"b":"x"})" : sortedText(shape));
  }
  const TypedJSON withNull = parseTyped(R"({"n":null})");
  EXPECT_EQ(withNull["n"], TypedJSON());  // present and null is not absent

  TypedJSON tree = parseTyped(R"({"a":{"b":1},"l":[1]})");
  tree["a"]["b"] = TypedJSON(2);
  tree["a"]["c"] = TypedJSON::object();
  tree["a"]["c"]["d"] = TypedJSON("deep");
  tree["missing"]["b"] = TypedJSON(3);  // no member to write into
  tree["l"]["b"] = TypedJSON(4);        // not an object
  EXPECT_EQ(sortedText(tree), R"({"a":{"b":2,"c":{"d":"deep"}},"l":[1]})");
  // Copying through slots copies the member, not the handle.
  tree["copy"] = tree["a"]["c"];
  tree["a"]["c"] = std::nullopt;
  EXPECT_EQ(sortedText(tree), R"({"a":{"b":2},"copy":{"d":"deep"},"l":[1]})");
  EXPECT_TRUE(tree["copy"] == TypedJSON::object({{"d", "deep"}}));
}

TEST(TypedJSON, CopiesAreIndependentTrees) {
  const TypedJSON original = parseTyped(R"({"a":{"b":[1,{"c":2}]},"d":"x"})");
  const std::string before = sortedText(original);
  TypedJSON viaSlot = original;
  viaSlot["a"]["b"] = TypedJSON("changed");
  TypedJSON viaMember = original;
  viaMember.mutableMember("a")->mutableMember("b")->mutableElements()->push_back(3);
  TypedJSON viaEach = original;
  viaEach.forEachMember([](const std::string&, TypedJSON& m) { m = TypedJSON(); });
  TypedJSON viaSet = original;
  viaSet.set("d", std::nullopt);
  EXPECT_EQ(sortedText(original), before);
  EXPECT_EQ(sortedText(viaSlot), R"({"a":{"b":"changed"},"d":"x"})");
  EXPECT_EQ(sortedText(viaMember), R"({"a":{"b":[1,{"c":2},3]},"d":"x"})");
  EXPECT_EQ(sortedText(viaEach), R"({"a":null,"d":null})");
  EXPECT_EQ(sortedText(viaSet), R"({"a":{"b":[1,{"c":2}]}})");
  // A subtree taken out keeps its content when the tree changes, and the other way round.
  TypedJSON tree = original;
  TypedJSON subtree = *tree["a"];
  tree["a"]["b"] = std::nullopt;
  subtree["extra"] = TypedJSON(1);
  EXPECT_EQ(sortedText(subtree), R"({"b":[1,{"c":2}],"extra":1})");
  EXPECT_EQ(sortedText(tree), R"({"a":{},"d":"x"})");
  // Misses change nothing.
  TypedJSON untouched = original;
  EXPECT_EQ(untouched.mutableMember("zzz"), nullptr);
  EXPECT_EQ(untouched.mutableElements(), nullptr);
  EXPECT_EQ(untouched, original);
}

TEST(TypedJSON, RenamingAndProvideDefaultLeaveTheReceiverAlone) {
  // The tree; renamed "a" to "b"; with default "k" provided, kept and overwritten.
  const std::array<const char*, 4> cases[] = {
      {R"({"a":1,"b":2})", R"({"b":1})", R"({"a":1,"b":2,"k":[0]})", R"({"a":1,"b":2,"k":[0]})"},
      {R"({"b":2,"k":5})", R"({"b":2,"k":5})", R"({"b":2,"k":5})", R"({"b":2,"k":[0]})"},
      // A null member still moves and is still present.
      {R"({"a":null,"k":null})", R"({"b":null,"k":null})", R"({"a":null,"k":null})",
       R"({"a":null,"k":[0]})"},
      {R"([{"a":1}])", R"([{"a":1}])", R"([{"a":1}])", R"([{"a":1}])"},
      {"null", "null", "null", "null"}};
  const TypedJSON fallback = TypedJSON::array({0});
  for (const auto& [json, renamed, keptDefault, overwritten] : cases) {
    SCOPED_TRACE(json);
    const TypedJSON tree = parseTyped(json);
    EXPECT_EQ(sortedText(tree.renaming("a", "b")), renamed);
    EXPECT_EQ(sortedText(TypedJSON(tree).renaming("a", "b")), renamed);
    EXPECT_EQ(sortedText(tree.provideDefault("k", fallback)), keptDefault);
    EXPECT_EQ(sortedText(tree.provideDefault("k", fallback, true)), overwritten);
    EXPECT_EQ(sortedText(tree), sortedText(parseTyped(json)));
  }
  EXPECT_EQ(sortedText(parseTyped(R"({"a":{"x":1}})").renaming("a", "a")), R"({"a":{"x":1}})");
}

TEST(TypedJSON, ObjectsAreUnorderedMapsWithTheLastOfRepeatedKeys) {
  const TypedJSON a = TypedJSON::object({{"x", 1}, {"y", 2}, {"z", 3}});
  EXPECT_EQ(a, TypedJSON::object({{"z", 3}, {"x", 1}, {"y", 2}}));
  EXPECT_EQ(a.hashValue(), TypedJSON::object({{"z", 3}, {"x", 1}, {"y", 2}}).hashValue());
  const TypedJSON repeated = TypedJSON::object({{"k", 1}, {"j", 0}, {"k", 2}, {"k", 3}});
  EXPECT_EQ(sortedText(repeated), R"({"j":0,"k":3})");
  // Large objects too, kept sorted.
  TypedJSON::Members members;
  for (int i = 59; i >= 0; --i) members.emplace_back("k" + std::to_string(i % 40), i);
  const TypedJSON big = TypedJSON::object(std::move(members));
  ASSERT_EQ(big.members()->size(), 40u);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(big["k" + std::to_string(i)], TypedJSON(i)) << i;
  EXPECT_TRUE(std::is_sorted(big.members()->begin(), big.members()->end(),
                             [](const auto& l, const auto& r) { return l.first < r.first; }));
}

TEST(TypedJSON, EqualityAndHashingGoByCaseThenStructure) {
  // clang-format off
  const TypedJSON distinct[] = {
      TypedJSON(), TypedJSON::object(), TypedJSON::array({}), TypedJSON(""), TypedJSON(0),
      TypedJSON(false), TypedJSON::array({TypedJSON()}), TypedJSON::array({1, 2}),
      TypedJSON::array({2, 1}), TypedJSON::object({{"a", TypedJSON()}}),
      TypedJSON::object({{"a", 1}}), TypedJSON::object({{"b", 1}}),
      TypedJSON::object({{"a", TypedJSON::object({{"a", 1}})}}),
      TypedJSON::object({{"a", TypedJSON::array({1})}})};
  // clang-format on
  for (std::size_t i = 0; i < std::size(distinct); ++i) {
    for (std::size_t j = 0; j < std::size(distinct); ++j) {
      EXPECT_EQ(distinct[i] == distinct[j], i == j) << i << " vs " << j;
    }
  }
  std::unordered_set<TypedJSON> set(std::begin(distinct), std::end(distinct));
  for (const TypedJSON& t : distinct) set.insert(parseTyped(sortedText(t)));
  EXPECT_EQ(set.size(), std::size(distinct));
  EXPECT_EQ(std::hash<TypedJSON>()(TypedJSON(0.0)), std::hash<TypedJSON>()(TypedJSON(-0.0)));
}

// `depth` arrays in arrays or objects in objects ({"k":{"k":...leaf}}), built in code: no
// decoder limits the depth.
TypedJSON chain(bool objects, int depth, TypedJSON leaf) {
  for (int i = 0; i < depth; ++i) {
    leaf =
        objects ? TypedJSON::object({{"k", std::move(leaf)}}) : TypedJSON::array({std::move(leaf)});
  }
  return leaf;
}

TEST(TypedJSON, TreesOfAnyDepthAreDestroyedComparedHashedAndCopied) {
  constexpr int kDeep = 200'000;
  // Bottoms of two chains, whether the chains are equal and roughly equal within 0.1.
  const std::tuple<TypedJSON, TypedJSON, bool, bool> pairs[] = {
      {1.0, 1.0, true, true},
      {1.0, 1.05, false, true},
      {TypedJSON::object({{"a", 1}}), TypedJSON::object({{"b", 1}}), false, false},
      {TypedJSON::array({1}), TypedJSON::array({1, 2}), false, true}};
  for (bool objects : {false, true}) {
    SCOPED_TRACE(objects ? "objects" : "arrays");
    for (const auto& [leftBottom, rightBottom, equal, roughlyEqual] : pairs) {
      // Built apart: they share nothing.
      const TypedJSON left = chain(objects, kDeep, leftBottom);
      const TypedJSON right = chain(objects, kDeep, rightBottom);
      EXPECT_EQ(left == right, equal);
      EXPECT_EQ(left.hashValue() == right.hashValue(), equal);
      EXPECT_EQ(left.roughlyEqual(right, 0.1), roughlyEqual);
    }
    const TypedJSON a = chain(objects, kDeep, 1.0);
    EXPECT_FALSE(a == chain(objects, kDeep - 1, 1.0));
    EXPECT_FALSE(a.roughlyEqual(chain(objects, kDeep + 1, 1.0), 0.1));
    // A copy changed at the bottom: every level on the way down is unshared.
    TypedJSON copy = a;
    TypedJSON* at = &copy;
    for (int i = 0; i < kDeep; ++i) {
      at = objects ? at->mutableMember("k") : &at->mutableElements()->front();
    }
    *at = TypedJSON(2.0);
    EXPECT_FALSE(copy == a);
    EXPECT_TRUE(a == chain(objects, kDeep, 1.0));
    copy = a;  // the changed tree goes here, the rest with the copies
    EXPECT_TRUE(copy == a);
    // Encoding refuses past the depth the decoder reads, with EncodingError.
    EXPECT_THROW(JSONEncoder().encode(a), EncodingError);
    EXPECT_EQ(a.debugDescription(), "");
    const int limit = static_cast<int>(kMaxCodingDepth);
    const TypedJSON deepest = chain(objects, limit, 1.0);
    EXPECT_EQ(parseTyped(sortedText(deepest)), deepest);
    EXPECT_THROW(JSONEncoder().encode(chain(objects, limit + 1, 1.0)), EncodingError);
  }
}

}  // namespace
}  // namespace zorlan::typed_json_test
