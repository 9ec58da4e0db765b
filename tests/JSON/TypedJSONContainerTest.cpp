#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <unordered_set>
#include <utility>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/JSON/TypedJSONContainer.hpp"
#include "zorlan/JSON/TypedJSONRepresentation.hpp"

namespace zorlan {
namespace {

using Kind = TypedJSON::Kind;

TypedJSON parse(std::string_view json) { return JSONDecoder().decode<TypedJSON>(json); }

// Compact JSON with sorted keys: one text per tree.
std::string text(const TypedJSON& tree) {
  JSONEncoder encoder;
  encoder.outputFormatting.sortedKeys = true;
  return encoder.encodeToString(tree);
}

// One container of each case.
const std::pair<const char*, TypedJSON> kShapes[] = {
    {"object", TypedJSON::object({{"a", 1}, {"b", "x"}})},
    {"array", TypedJSON::array({1, "a"})},
    {"value", TypedJSON("a")},
    {"null", TypedJSON()},
};

TEST(TypedJSONContainerTest, ReadsAnswerForTheirOwnCaseOnly) {
  for (const auto& [name, shape] : kShapes) {
    EXPECT_EQ(shape.members() != nullptr, shape.kind() == Kind::object) << name;
    EXPECT_EQ(shape.elements() != nullptr, shape.kind() == Kind::array) << name;
    EXPECT_EQ(shape.leaf() != nullptr, shape.kind() == Kind::value) << name;
    EXPECT_EQ(shape.value().has_value(), shape.kind() == Kind::value) << name;
    std::optional<TypedJSON> a = shape["a"];
    if (shape.isObject()) {
      EXPECT_EQ(a, TypedJSON(1)) << name;
    } else {
      EXPECT_EQ(a, std::nullopt) << name;
      EXPECT_EQ(shape.member("a"), nullptr) << name;
    }
    EXPECT_EQ(shape["missing"], std::nullopt) << name;
  }
  const TypedJSON withNull = parse(R"({"n":null})");
  EXPECT_EQ(withNull["n"], TypedJSON());  // present and null is not absent
  EXPECT_EQ(withNull["N"], std::nullopt);
  EXPECT_EQ(TypedJSON("a").value(), TypedJSONValue("a"));
  EXPECT_EQ(TypedJSON(nullptr).kind(), Kind::null);
  EXPECT_EQ(TypedJSON(0).kind(), Kind::value);
}

TEST(TypedJSONContainerTest, SubscriptWriteSetsAndRemovesOnObjectsAndIsIgnoredElsewhere) {
  for (const auto& [name, shape] : kShapes) {
    TypedJSON written = shape;
    written["a"] = TypedJSON(true);
    written["c"] = TypedJSON::array({});
    TypedJSON removed = shape;
    removed["a"] = std::nullopt;
    removed["absent"] = std::nullopt;
    if (shape.isObject()) {
      EXPECT_EQ(text(written), R"({"a":true,"b":"x","c":[]})");
      EXPECT_EQ(text(removed), R"({"b":"x"})");
    } else {
      EXPECT_EQ(written, shape) << name;
      EXPECT_EQ(written.kind(), shape.kind()) << name;
      EXPECT_EQ(removed, shape) << name;
    }
  }
}

TEST(TypedJSONContainerTest, NestedSubscriptWritesIntoAnExistingMemberOnly) {
  TypedJSON tree = parse(R"({"a":{"b":1},"l":[1]})");
  tree["a"]["b"] = TypedJSON(2);
  tree["a"]["c"] = TypedJSON::object();
  tree["a"]["c"]["d"] = TypedJSON("deep");
  tree["missing"]["b"] = TypedJSON(3);  // no member to write into
  tree["l"]["b"] = TypedJSON(4);        // not an object
  EXPECT_EQ(text(tree), R"({"a":{"b":2,"c":{"d":"deep"}},"l":[1]})");

  // Copying through slots copies the member, not the handle.
  tree["copy"] = tree["a"]["c"];
  tree["a"]["c"] = std::nullopt;
  EXPECT_EQ(text(tree), R"({"a":{"b":2},"copy":{"d":"deep"},"l":[1]})");
  EXPECT_TRUE(tree["copy"] == TypedJSON::object({{"d", "deep"}}));
  EXPECT_TRUE(tree["gone"] == std::nullopt);
}

TEST(TypedJSONContainerTest, CopiesAreIndependentTrees) {
  const TypedJSON original = parse(R"({"a":{"b":[1,{"c":2}]},"d":"x"})");
  const std::string before = text(original);

  TypedJSON viaSlot = original;
  viaSlot["a"]["b"] = TypedJSON("changed");
  TypedJSON viaMember = original;
  viaMember.mutableMember("a")->mutableMember("b")->mutableElements()->push_back(3);
  TypedJSON viaEach = original;
  viaEach.forEachMember([](const std::string&, TypedJSON& m) { m = TypedJSON(); });
  TypedJSON viaSet = original;
  viaSet.set("d", std::nullopt);

  EXPECT_EQ(text(original), before);
  EXPECT_EQ(text(viaSlot), R"({"a":{"b":"changed"},"d":"x"})");
  EXPECT_EQ(text(viaMember), R"({"a":{"b":[1,{"c":2},3]},"d":"x"})");
  EXPECT_EQ(text(viaEach), R"({"a":null,"d":null})");
  EXPECT_EQ(text(viaSet), R"({"a":{"b":[1,{"c":2}]}})");

  // A subtree taken out keeps its content when the tree changes, and the
  // other way round.
  TypedJSON tree = original;
  TypedJSON subtree = *tree["a"];
  tree["a"]["b"] = std::nullopt;
  subtree["extra"] = TypedJSON(1);
  EXPECT_EQ(text(subtree), R"({"b":[1,{"c":2}],"extra":1})");
  EXPECT_EQ(text(tree), R"({"a":{},"d":"x"})");

  // Misses change nothing.
  TypedJSON untouched = original;
  EXPECT_EQ(untouched.mutableMember("zzz"), nullptr);
  EXPECT_EQ(untouched.mutableElements(), nullptr);
  EXPECT_EQ(untouched, original);
}

TEST(TypedJSONContainerTest, RenamingMovesAMemberOnlyWhenTheSourceExists) {
  struct Case {
    const char* json;
    const char* from;
    const char* to;
    const char* expected;
  };
  const Case cases[] = {
      {R"({"a":1,"b":2})", "a", "b", R"({"b":1})"},  // the target is replaced
      {R"({"b":2})", "a", "b", R"({"b":2})"},        // no source: b untouched
      {R"({"a":{"x":1}})", "a", "c", R"({"c":{"x":1}})"},
      {R"({"a":null})", "a", "c", R"({"c":null})"},  // a null member still moves
      {R"({"a":1})", "a", "a", R"({"a":1})"},
      {R"([{"a":1}])", "a", "b", R"([{"a":1}])"},  // only the receiver's own members
      {R"("a")", "a", "b", R"("a")"},
      {"null", "a", "b", "null"},
  };
  for (const auto& c : cases) {
    const TypedJSON tree = parse(c.json);
    EXPECT_EQ(text(tree.renaming(c.from, c.to)), c.expected) << c.json;
    EXPECT_EQ(text(TypedJSON(tree).renaming(c.from, c.to)), c.expected) << c.json;
    EXPECT_EQ(text(tree), text(parse(c.json))) << "the receiver changed: " << c.json;
  }
}

TEST(TypedJSONContainerTest, ProvideDefaultFillsMissingMembersOrOverwrites) {
  struct Case {
    const char* json;
    bool overwrite;
    const char* expected;
  };
  const TypedJSON fallback = TypedJSON::array({0});
  const Case cases[] = {
      {R"({"b":1})", false, R"({"b":1,"k":[0]})"},
      {R"({"b":1})", true, R"({"b":1,"k":[0]})"},
      {R"({"k":5})", false, R"({"k":5})"},
      {R"({"k":5})", true, R"({"k":[0]})"},
      {R"({"k":null})", false, R"({"k":null})"},  // present, though null
      {R"({"k":null})", true, R"({"k":[0]})"},
      {R"([1])", true, R"([1])"},
      {"7", true, "7"},
      {"null", true, "null"},
  };
  for (const auto& c : cases) {
    const TypedJSON tree = parse(c.json);
    EXPECT_EQ(text(tree.provideDefault("k", fallback, c.overwrite)), c.expected)
        << c.json << " overwrite " << c.overwrite;
    EXPECT_EQ(text(tree), text(parse(c.json)));
  }
  EXPECT_EQ(text(parse(R"({"k":1})").provideDefault("k", fallback)),
            R"({"k":1})");  // default: keep
}

TEST(TypedJSONContainerTest, ObjectsAreUnorderedMapsWithTheLastOfRepeatedKeys) {
  const TypedJSON a = TypedJSON::object({{"x", 1}, {"y", 2}, {"z", 3}});
  const TypedJSON b = TypedJSON::object({{"z", 3}, {"x", 1}, {"y", 2}});
  EXPECT_EQ(a, b);
  EXPECT_EQ(std::hash<TypedJSON>()(a), std::hash<TypedJSON>()(b));
  EXPECT_EQ(a, parse(R"({"y":2,"z":3,"x":1})"));

  const TypedJSON repeated = TypedJSON::object({{"k", 1}, {"j", 0}, {"k", 2}, {"k", 3}});
  EXPECT_EQ(text(repeated), R"({"j":0,"k":3})");
  ASSERT_NE(repeated.members(), nullptr);
  EXPECT_EQ(repeated.members()->size(), 2u);
  EXPECT_EQ(repeated.members()->front().first, "j");
}

TEST(TypedJSONContainerTest, LargeObjectsAreSortedAndKeepTheLastOfRepeatedKeysToo) {
  TypedJSON::Members members;
  for (int i = 59; i >= 0; --i) members.emplace_back("k" + std::to_string(i % 40), i);
  const TypedJSON big = TypedJSON::object(std::move(members));
  ASSERT_EQ(big.members()->size(), 40u);
  for (int i = 0; i < 40; ++i) {
    // Keys k0..k19 came twice, from i + 40 and then from i: the later one counts.
    EXPECT_EQ(big[("k" + std::to_string(i))], TypedJSON(i)) << i;
  }
  EXPECT_TRUE(std::is_sorted(big.members()->begin(), big.members()->end(),
                             [](const auto& a, const auto& b) { return a.first < b.first; }));
}

TEST(TypedJSONContainerTest, EqualityAndHashingGoByCaseThenStructure) {
  const TypedJSON distinct[] = {
      TypedJSON(),
      TypedJSON::object(),
      TypedJSON::array({}),
      TypedJSON(""),
      TypedJSON(0),
      TypedJSON(false),
      TypedJSON::array({TypedJSON()}),
      TypedJSON::array({1, 2}),
      TypedJSON::array({2, 1}),
      TypedJSON::object({{"a", TypedJSON()}}),
      TypedJSON::object({{"a", 1}}),
      TypedJSON::object({{"b", 1}}),
      TypedJSON::object({{"a", TypedJSON::object({{"a", 1}})}}),
      TypedJSON::object({{"a", TypedJSON::array({1})}}),
  };
  for (std::size_t i = 0; i < std::size(distinct); ++i) {
    for (std::size_t j = 0; j < std::size(distinct); ++j) {
      EXPECT_EQ(distinct[i] == distinct[j], i == j) << i << " vs " << j;
    }
  }
  std::unordered_set<TypedJSON> set(std::begin(distinct), std::end(distinct));
  for (const TypedJSON& t : distinct) set.insert(parse(text(t)));
  EXPECT_EQ(set.size(), std::size(distinct));
  EXPECT_EQ(std::hash<TypedJSON>()(TypedJSON(0.0)), std::hash<TypedJSON>()(TypedJSON(-0.0)));
}

// `depth` arrays in arrays ([[...[leaf]...]]) or objects in objects
// ({"k":{"k":...leaf}}), built in code: no decoder limits the depth.
TypedJSON chain(bool objects, int depth, TypedJSON leaf) {
  TypedJSON tree = std::move(leaf);
  for (int i = 0; i < depth; ++i) {
    tree =
        objects ? TypedJSON::object({{"k", std::move(tree)}}) : TypedJSON::array({std::move(tree)});
  }
  return tree;
}

TEST(TypedJSONContainerTest, TreesOfAnyDepthAreDestroyedComparedHashedAndCopied) {
  constexpr int kDeep = 200'000;
  struct Bottoms {
    TypedJSON left, right;
    bool equal, roughlyEqual;  // within 0.1
  };
  const Bottoms pairs[] = {
      {1.0, 1.0, true, true},
      {1.0, 1.05, false, true},
      {TypedJSON::object({{"a", 1}}), TypedJSON::object({{"b", 1}}), false, false},
      {TypedJSON::array({1}), TypedJSON::array({1, 2}), false, true},
  };
  for (bool objects : {false, true}) {
    SCOPED_TRACE(objects ? "objects" : "arrays");
    for (const Bottoms& p : pairs) {
      SCOPED_TRACE(text(p.left) + " vs " + text(p.right));
      // Built apart: they share nothing.
      const TypedJSON left = chain(objects, kDeep, p.left);
      const TypedJSON right = chain(objects, kDeep, p.right);
      EXPECT_EQ(left == right, p.equal);
      EXPECT_EQ(left.hashValue() == right.hashValue(), p.equal);
      EXPECT_EQ(left.roughlyEqual(right, 0.1), p.roughlyEqual);
    }
    const TypedJSON a = chain(objects, kDeep, 1.0);
    const TypedJSON same = chain(objects, kDeep, 1.0);
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
    EXPECT_TRUE(a == same);
    copy = a;  // the changed tree goes here, the rest with the copies
    EXPECT_TRUE(copy == a);

    // Encoding refuses past the depth the decoder reads, with EncodingError.
    EXPECT_THROW(JSONEncoder().encode(a), EncodingError);
    EXPECT_THROW(typedJSONRepresentation(a), EncodingError);
    EXPECT_EQ(a.debugDescription(), "");
    const int limit = static_cast<int>(kMaxCodingDepth);
    const TypedJSON deepest = chain(objects, limit, 1.0);
    EXPECT_EQ(parse(text(deepest)), deepest);
    EXPECT_THROW(JSONEncoder().encode(chain(objects, limit + 1, 1.0)), EncodingError);
  }
}

}  // namespace
}  // namespace zorlan
