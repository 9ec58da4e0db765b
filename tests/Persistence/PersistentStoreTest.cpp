// zorlan/Persistence/PersistentStore.hpp and DefaultsStore.hpp: typed writes and reads over the
// defaults database, their stored forms, the failure reports, removal and observation.
#include <gtest/gtest.h>

#include <any>
#include <string>
#include <vector>

#include "support/LogCapture.hpp"
#include "zorlan/Environment/NotificationNames.hpp"
#include "zorlan/Persistence/DefaultsStore.hpp"
#include "zorlan/Persistence/PersistentStore.hpp"
#include "zorlan/Platform/NotificationCenter.hpp"

namespace zorlan {
namespace {

struct Profile {
  std::string name;
  int age = 0;
  static MigrationSchema schema() {
    return {SemVer(1, 0, 0), {Migration{SemVer(), SemVer(1, 0, 0), {[](TypedJSON t) {
                                          return std::move(t).renaming("n", "name");
                                        }}}}};
  }
  friend bool operator==(const Profile&, const Profile&) = default;
};
ZORLAN_CODABLE(Profile, name, age);

enum class Quality { sd, hd };
ZORLAN_CODABLE_ENUM(Quality, sd, hd);

}  // namespace

template <>
inline constexpr bool isJSONFragment<Quality> = true;

namespace {

class PersistentStoreTest : public ::testing::Test {
 protected:
  std::shared_ptr<Defaults> defaults = Defaults::inMemory();
  DefaultsStore store{defaults};

  // The migration-failure notifications posted while `body` runs.
  template <class F>
  std::vector<MigrationError> migrationFailures(F body) {
    std::vector<MigrationError> seen;
    auto observation = NotificationCenter::defaultCenter().addObserver(
        notifications::persistentStoreMigrationFailure(), nullptr, [&seen](const Notification& n) {
          seen.push_back(std::any_cast<MigrationError>(
              n.userInfo()->at(AnyHashable(kMigrationErrorUserInfoKey))));
        });
    body();
    return seen;
  }
};

TEST_F(PersistentStoreTest, StoredFormsFollowTheKeyAndTheType) {
  const PersistentKey<bool> flag("flag");
  store.set(flag, true);
  EXPECT_EQ(defaults->object("flag"), PropertyListValue(true));  // native Boolean
  EXPECT_EQ(store.get(flag), true);
  EXPECT_EQ(store.get(PersistentKey<std::string>("flag")), std::nullopt);

  // A String key takes the general way: a core value becomes JSON bytes, and
  // a core read sees no native value there.
  store.set("count", 7);
  EXPECT_EQ(defaults->object("count"), PropertyListValue(Data("7")));
  EXPECT_EQ(store.get<int>("count"), std::nullopt);

  store.set("raw", Data("\x01\x02"));
  EXPECT_EQ(defaults->object("raw"), PropertyListValue(Data("\x01\x02")));
  store.set("quality", Quality::hd);
  EXPECT_EQ(defaults->object("quality"), PropertyListValue(Data(R"({"value":"hd"})")));
  EXPECT_EQ(store.get<Quality>("quality"), Quality::hd);

  store.set("profile", Profile{"ann", 3});
  EXPECT_EQ(defaults->object("profile"),
            PropertyListValue(Data(R"({"age":3,"name":"ann","version":"1.0.0"})")));
  EXPECT_EQ(store.get(PersistentKey<Profile>("profile")), (Profile{"ann", 3}));

  // Integers are range-checked on the way out.
  store.set(PersistentKey<std::int64_t>("big"), std::int64_t{1} << 40);
  EXPECT_EQ(store.get(PersistentKey<std::int32_t>("big")), std::nullopt);
  EXPECT_EQ(store.get(PersistentKey<std::int64_t>("big")), std::int64_t{1} << 40);
}

TEST_F(PersistentStoreTest, AnAbsentOptionalRemovesTheKey) {
  const PersistentKey<std::optional<std::string>> name("name");
  store.set(name, std::optional<std::string>("x"));
  EXPECT_TRUE(store.hasStoredValue("name"));
  EXPECT_EQ(store.get(name), std::optional<std::string>("x"));
  store.set(name, std::optional<std::string>());
  EXPECT_FALSE(store.hasStoredValue("name"));

  store.set("profile", std::optional<Profile>(Profile{"a", 1}));
  store.set("profile", std::optional<Profile>());
  EXPECT_FALSE(store.hasStoredValue("profile"));
}

TEST_F(PersistentStoreTest, ALifetimeWithoutAURLRecordsNothingAndTheValueReadsBack) {
  store.set("profile", Profile{"b", 2}, 60.0);
  EXPECT_EQ(store.get<Profile>("profile"), (Profile{"b", 2}));
  EXPECT_EQ(store.url("profile"), std::nullopt);
}

TEST_F(PersistentStoreTest, OldBytesMigrateUndecodableOnesAreReportedOnceAndReadAbsent) {
  testing::LogCapture log;
  defaults->set("old", PropertyListValue(Data(R"({"n":"cy","age":4})")));
  EXPECT_EQ(store.get<Profile>("old"), (Profile{"cy", 4}));

  defaults->set("broken", PropertyListValue(Data(R"({"name":"dee","age":"x"})")));
  std::vector<MigrationError> failures =
      migrationFailures([&] { EXPECT_EQ(store.get<Profile>("broken"), std::nullopt); });
  ASSERT_EQ(failures.size(), 1u);
  EXPECT_EQ(failures[0].valueType(), "Profile");
  EXPECT_EQ(failures[0].key(), "age");
  EXPECT_TRUE(log.messages().empty());

  defaults->set("junk", PropertyListValue(Data("\xff\x00junk")));
  failures = migrationFailures([&] { EXPECT_EQ(store.get<Profile>("junk"), std::nullopt); });
  EXPECT_TRUE(failures.empty());
  ASSERT_EQ(log.events().size(), 1u);
  const testing::CapturedLogEvent event = log.events()[0];
  EXPECT_TRUE(event.message.starts_with(
      "\u274C failed to decode from persistent store with unknown error dataCorrupted("))
      << event.message;
  EXPECT_EQ(event.file, "Extensions/UserDefaults+PersistentStore");
  // Other keys are untouched by the failures.
  EXPECT_EQ(store.get<Profile>("old"), (Profile{"cy", 4}));
}

TEST_F(PersistentStoreTest, Removal) {
  for (const char* key : {"a", "b", "c"}) store.set(PersistentKey<int>(key), 1);
  int completions = 0;
  store.removeValue("b", [&] { ++completions; });
  EXPECT_EQ(store.allKeys().size(), 2u);
  store.removeAll(std::vector<std::string>{"a"}, [&] { ++completions; });
  EXPECT_EQ(store.allKeys(), std::vector<std::string>{"a"});
  EXPECT_EQ(completions, 2);

  // Resetting without a name removes the suite named "", not this one.
  store.reset();
  EXPECT_TRUE(store.hasStoredValue("a"));
  store.reset(defaults->suiteName());
  EXPECT_FALSE(store.hasStoredValue("a"));

  store.set(PersistentKey<int>("x"), 1);
  bool completed = false;
  rx::Completable removing = store.removeAll(std::vector<std::string>{});
  EXPECT_TRUE(store.hasStoredValue("x"));  // nothing happens before subscribing
  removing.subscribe([&] { completed = true; });
  EXPECT_TRUE(completed);
  EXPECT_TRUE(store.allKeys().empty());
}

TEST_F(PersistentStoreTest, ObservesTheValueNowAndAfterEveryChange) {
  const PersistentKey<Profile> key("p");
  std::vector<std::optional<Profile>> seen;
  rx::Disposable watching =
      store.observe(key).subscribe([&](const std::optional<Profile>& p) { seen.push_back(p); });
  store.set(key, Profile{"a", 1});
  store.set(key, Profile{"a", 1});
  store.removeValue("p");
  watching.dispose();
  store.set(key, Profile{"late", 1});
  EXPECT_EQ(seen, (std::vector<std::optional<Profile>>{std::nullopt, Profile{"a", 1},
                                                       Profile{"a", 1}, std::nullopt}));
}

TEST_F(PersistentStoreTest, RunsStoreMigrationsInOrder) {
  struct Rename : PersistentStoreMigration {
    std::string from, to;
    Rename(std::string f, std::string t) : from(std::move(f)), to(std::move(t)) {}
    void migrate(PersistentStore& s) override {
      if (auto v = s.object(from)) {
        s.setObject(to, *v);
        s.removeValue(from);
      }
    }
  };
  store.set(PersistentKey<int>("v1"), 5);
  store.run({std::make_shared<Rename>("v1", "v2"), std::make_shared<Rename>("v2", "v3")});
  EXPECT_EQ(store.allKeys(), std::vector<std::string>{"v3"});
  EXPECT_EQ(store.get(PersistentKey<int>("v3")), 5);
}

}  // namespace
}  // namespace zorlan
