// zorlan/Persistence/Persistable.hpp: encoding with version stamps and
// decoding with migration on failure.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "zorlan/JSON/JSONSerialization.hpp"
#include "zorlan/Persistence/Persistable.hpp"

namespace zorlan {
namespace {

// Layout 2.0.0 of a stored record; 1.0.0 called the title "name", 0.0.0 had no year.
struct Show {
  std::string title;
  int year = 0;
  static inline int transformsRun = 0;
  static MigrationSchema schema() {
    return {SemVer(2, 0, 0),
            {Migration{SemVer(), SemVer(1, 0, 0), {[](TypedJSON t) {
                         ++transformsRun;
                         return std::move(t).provideDefault("year", TypedJSON(1999));
                       }}},
             Migration{SemVer(1, 0, 0), SemVer(2, 0, 0), {[](TypedJSON t) {
                         ++transformsRun;
                         return std::move(t).renaming("name", "title");
                       }}}}};
  }
  friend bool operator==(const Show&, const Show&) = default;
};
ZORLAN_CODABLE(Show, title, year);

struct Plain {
  std::string b;
  std::int64_t a = 0;
};
ZORLAN_CODABLE(Plain, b, a);

std::string text(const Data& d) { return d.toString(); }
Data bytes(std::string_view s) { return Data(s); }

TEST(PersistableTest, EncodesWithVersionStampsOnlyWhereASchemaPutsThem) {
  EXPECT_EQ(text(persistableEncode(std::string("abc"))), R"("abc")");
  // Default schema: the plain encoding, members in declaration order, every
  // digit of a 64-bit integer kept.
  EXPECT_EQ(text(persistableEncode(Plain{"x", 9007199254740993})),
            R"({"b":"x","a":9007199254740993})");
  EXPECT_EQ(text(persistableEncode(Show{"Dune", 2021})),
            R"({"title":"Dune","version":"2.0.0","year":2021})");
  // Arrays carry the element's version and stamp every element; dictionaries
  // stamp their own object too (the "version" lands among the keys).
  EXPECT_EQ(persistableSchema<std::vector<Show>>().version, SemVer(2, 0, 0));
  EXPECT_EQ(text(persistableEncode(std::vector<Show>{{"A", 1}})),
            R"([{"title":"A","version":"2.0.0","year":1}])");
  EXPECT_EQ(text(persistableEncode(std::map<std::string, Show>{{"k", {"A", 1}}})),
            R"({"k":{"title":"A","version":"2.0.0","year":1},"version":"2.0.0"})");
}

TEST(PersistableTest, DecodesDirectlyWhenItCanAndMigratesOnlyOnFailure) {
  Show::transformsRun = 0;
  // Current layout with an old version text: returned untouched.
  EXPECT_EQ(persistableDecode<Show>(bytes(R"({"title":"A","year":1,"version":"0.0.1"})")),
            (Show{"A", 1}));
  EXPECT_EQ(Show::transformsRun, 0);
  // 0.0.0 layout: both migrations run.
  EXPECT_EQ(persistableDecode<Show>(bytes(R"({"name":"B"})")), (Show{"B", 1999}));
  EXPECT_EQ(Show::transformsRun, 2);
  // Elements of an array migrate each by the element's schema.
  EXPECT_EQ(
      persistableDecode<std::vector<Show>>(bytes(R"([{"name":"C","version":"1.0.0","year":5}])")),
      (std::vector<Show>{{"C", 5}}));
  // Optional decodes as the wrapped type, present.
  EXPECT_EQ(persistableDecode<std::optional<Show>>(bytes(R"({"name":"D"})")), (Show{"D", 1999}));
  EXPECT_EQ(persistableDecode<std::int64_t>(persistableEncode(std::int64_t{-42})), -42);
}

TEST(PersistableTest, FailuresAfterMigrationAreMigrationErrorsOthersPassThrough) {
  // The caller sees the later error: before migration "title" is missing,
  // after it (renamed from "name") the year is of the wrong type.
  try {
    persistableDecode<Show>(bytes(R"({"name":"B","year":"soon"})"));
    FAIL() << "expected MigrationError";
  } catch (const MigrationError& e) {
    EXPECT_EQ(e.valueType(), "Show");
    EXPECT_EQ(e.errorName(), "typeMismatch");
    EXPECT_EQ(e.errorAttemptedType(), "Int32");
    EXPECT_EQ(e.key(), "year");
    EXPECT_EQ(e.context().codingPath.size(), 1u);
  }
  try {
    persistableDecode<Show>(bytes(R"({"year":1,"version":"2.0.0"})"));
    FAIL() << "expected MigrationError";
  } catch (const MigrationError& e) {
    EXPECT_EQ(e.errorName(), "keyNotFound");
    EXPECT_EQ(e.key(), "title");
    EXPECT_FALSE(e.errorAttemptedType());
  }
  // Not JSON at all: the parse's own error, not a migration failure.
  try {
    persistableDecode<int>(bytes("not json"));
    FAIL() << "expected DecodingError";
  } catch (const MigrationError&) {
    FAIL() << "a parse failure is not a migration failure";
  } catch (const DecodingError& e) {
    EXPECT_EQ(e.kind(), DecodingError::Kind::dataCorrupted);
  }
}

TEST(PersistableTest, TheOtherConformancesRoundTrip) {
  using E = Either<int, std::string>;
  EXPECT_EQ(persistableDecode<E>(persistableEncode(E::right("r"))), E::right("r"));
  JSONDictionary object{{"a", 1}, {"b", boost::json::array{true}}};
  EXPECT_EQ(persistableDecode<JSONDictionary>(persistableEncode(object)), object);
  EXPECT_EQ(persistableDecode<std::set<int>>(persistableEncode(std::set<int>{3, 1})),
            (std::set<int>{1, 3}));

  EXPECT_EQ(withDebugOverride(1, std::nullopt), 1);
  EXPECT_EQ(withDebugOverride(1, std::optional<int>(2)), 2);
}

}  // namespace
}  // namespace zorlan
