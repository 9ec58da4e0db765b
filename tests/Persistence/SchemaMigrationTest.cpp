// zorlan/Persistence/MigrationSchema.hpp: the version stamp and the migration run.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/Persistence/MigrationSchema.hpp"

namespace zorlan {
namespace {

using Def = JSONSchema<JSONValueType>;

TypedJSON json(std::string_view text) { return JSONDecoder().decode<TypedJSON>(text); }

// A migration whose one transform appends `tag` to the tree's "trail" array,
// so a test sees which migrations ran, in what order.
Migration step(SemVer from, SemVer to, std::string tag) {
  return Migration{from, to, {[tag](TypedJSON tree) {
                     const TypedJSON* existing = tree.member("trail");
                     TypedJSON trail = existing ? *existing : TypedJSON::array({});
                     trail.mutableElements()->push_back(TypedJSON(tag));
                     tree.set("trail", trail);
                     return tree;
                   }}};
}

std::vector<std::string> trail(const TypedJSON& tree) {
  std::vector<std::string> out;
  if (const TypedJSON* t = tree.member("trail")) {
    for (const TypedJSON& e : *t->elements()) out.push_back(*e.leaf()->stringValue());
  }
  return out;
}

std::optional<std::string> version(const TypedJSON& tree) {
  const TypedJSON* v = tree.member("version");
  if (!v || !v->leaf() || !v->leaf()->stringValue()) return std::nullopt;
  return *v->leaf()->stringValue();
}

TEST(SchemaMigrationTest, RunsTheChosenMigrationsInOrder) {
  const SemVer v0, v1(1, 0, 0), v11(1, 1, 0), v2(2, 0, 0);
  struct Case {
    const char* name;
    std::vector<Migration> migrations;
    const char* stored;
    std::vector<std::string> ran;
    std::optional<std::string> version;
  };
  // clang-format off
  const std::vector<Case> cases = {
      {"no migrations: untouched, no version", {}, R"({"a":1})", {}, std::nullopt},
      {"no version member starts at 0.0.0", {step(v0, v1, "0-1")}, R"({"a":1})", {"0-1"}, "1.0.0"},
      {"chains in order", {step(v1, v2, "1-2"), step(v0, v1, "0-1")}, R"({})", {"0-1", "1-2"}, "2.0.0"},
      {"the greatest target wins",
       {step(v1, v11, "1-1.1"), step(v1, v2, "1-2"), step(v11, v2, "1.1-2")}, R"({"version":"1.0.0"})", {"1-2"}, "2.0.0"},
      {"first declared among equal targets",
       {step(v0, v1, "first"), step(v0, v1, "second")}, R"({})", {"first"}, "1.0.0"},
      {"never to the same version or backwards",
       {step(v1, v1, "same"), step(v1, v0, "back")}, R"({"version":"1.0.0"})", {}, "1.0.0"},
      {"a number as version counts as 0.0.0", {step(v0, v1, "0-1")}, R"({"version":2})", {"0-1"}, "1.0.0"},
      {"stored version parsed forgivingly", {step(v1, v2, "1-2")}, R"({"version":"1"})", {"1-2"}, "2.0.0"},
      {"nothing from the stored version: version rewritten as parsed",
       {step(v0, v1, "0-1")}, R"({"version":"3.0"})", {}, "3.0.0"},
      {"non-object trees migrate without a version", {step(v0, v1, "0-1")}, R"([1])", {}, std::nullopt},
  };
  // clang-format on
  for (const Case& c : cases) {
    MigrationSchema schema{v2, c.migrations};
    TypedJSON out = migrated(json(c.stored), schema);
    EXPECT_EQ(trail(out), c.ran) << c.name;
    EXPECT_EQ(version(out), c.version) << c.name;
  }
}

TEST(SchemaMigrationTest, NestedValuesMigrateAfterTheirEnclosingValueEachByItsOwnSchema) {
  std::vector<std::string> order;
  auto recording = [&order](std::string tag) {
    return Migration{SemVer(), SemVer(1, 0, 0), {[&order, tag](TypedJSON t) {
                       order.push_back(tag);
                       return t;
                     }}};
  };
  MigrationSchema inner{SemVer(1, 0, 0), {recording("inner")}};
  MigrationSchema outer{SemVer(1, 0, 0),
                        {recording("outer")},
                        Def::object({{"one", Def::schema(inner)},
                                     {"many", Def::array(Def::schema(inner))},
                                     {"byName", Def::dictionary(Def::schema(inner))},
                                     {"absent", Def::schema(inner)}})};
  TypedJSON out =
      migrated(json(R"({"one":{},"many":[{},{}],"byName":{"x":{}},"other":{}})"), outer);
  EXPECT_EQ(order, (std::vector<std::string>{"outer", "inner", "inner", "inner", "inner"}));
  EXPECT_EQ(version(*out.member("one")), "1.0.0");
  EXPECT_EQ(version((*out.member("many")->elements())[1]), "1.0.0");
  EXPECT_EQ(version(*out.member("byName")->member("x")), "1.0.0");
  EXPECT_FALSE(out.member("absent"));
  EXPECT_FALSE(version(*out.member("other")));  // not named by the schema
}

TEST(SchemaMigrationTest, StampsObjectsGovernedByVersionsAboveZero) {
  MigrationSchema artwork{SemVer(1, 2, 3), {}};
  MigrationSchema item{
      SemVer(),
      {},
      Def::object({{"art", Def::schema(artwork)}, {"arts", Def::array(Def::schema(artwork))}})};
  TypedJSON out =
      versionStamped(json(R"({"art":{"version":"0.1.0"},"arts":[{},3],"plain":{}})"), item);
  EXPECT_FALSE(version(out));                       // 0.0.0 adds nothing
  EXPECT_EQ(version(*out.member("art")), "1.2.3");  // replaced
  EXPECT_EQ(version((*out.member("arts")->elements())[0]), "1.2.3");
  EXPECT_EQ((*out.member("arts")->elements())[1], TypedJSON(3));  // shape differs: left
  EXPECT_FALSE(version(*out.member("plain")));

  EXPECT_EQ(versionStamped(json(R"("abc")"), artwork), json(R"("abc")"));
  EXPECT_FALSE(MigrationSchema{}.stampsVersions());
  EXPECT_TRUE(item.stampsVersions());
}

}  // namespace
}  // namespace zorlan
