// zorlan/Platform/Defaults.hpp: stored values of every kind, paths, observation, outside
// changes and damaged rows and files.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "Platform/DefaultsEncoding.hpp"
#include "support/DefaultsTestSupport.hpp"
#include "support/LoggingTestSupport.hpp"
#include "zorlan/Platform/Defaults.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Observable.hpp"

namespace zorlan {
namespace {

using testing::RawDatabase;
using testing::ScopedEnv;
using testing::ScratchDirectory;
using Array = PropertyListValue::Array;
using Dictionary = PropertyListValue::Dictionary;
using Kind = PropertyListValue::Kind;
using Seen = std::vector<std::optional<PropertyListValue>>;

PropertyListValue nested() {
  return Array{std::int64_t{1}, Array{true, "x", Data(std::vector<std::uint8_t>{0, 0})},
               Dictionary{{"", 2.5},
                          {"deep", Dictionary{{"url", *URL::fromString("https://a/b")},
                                              {"when", Date(12.25)},
                                              {"f", 0.1f}}}},
               Dictionary{}};
}

// Every kind comes back from the file as the same kind: a Boolean stays a
// Boolean, a float a float, bytes keep their zeros.
TEST(DefaultsStorage, EveryKindSurvivesReopening) {
  ScratchDirectory dir;
  // clang-format off
  const std::vector<std::pair<std::string, PropertyListValue>> table = {
      {"true", true}, {"false", false}, {"zero", std::int64_t{0}},
      {"min", std::numeric_limits<std::int64_t>::min()}, {"float", 0.1f},
      {"float max", std::numeric_limits<float>::max()}, {"double", 0.1}, {"negative zero", -0.0},
      {"infinity", std::numeric_limits<double>::infinity()},
      {"text", std::string("caf\xc3\xa9 \0 end", 11)}, {"empty text", ""},
      {"data", Data(std::vector<std::uint8_t>{0, 255, 0, 7})}, {"empty data", Data()},
      {"date", Date(-1.5e9)}, {"url", *URL::fromString("file:///tmp/a%20b")}, {"nested", nested()},
      {"empty array", Array{}}};
  // clang-format on
  {
    auto defaults = Defaults::open("round.trip", dir.path());
    for (const auto& [key, value] : table) defaults->set(key, value);
    defaults->set("nan", std::numeric_limits<float>::quiet_NaN());
    defaults->set("nan in array", Array{std::numeric_limits<double>::quiet_NaN()});
  }
  auto reopened = Defaults::open("round.trip", dir.path());
  for (const auto& [key, value] : table) {
    auto stored = reopened->object(key);
    EXPECT_EQ(stored, value) << key;  // == compares the kind too
  }
  EXPECT_EQ(std::signbit(*reopened->value<double>("negative zero")), true);
  EXPECT_FALSE(reopened->value<std::int64_t>("true").has_value());
  EXPECT_TRUE(std::isnan(reopened->value<float>("nan").value_or(0)));
  auto nanInArray = reopened->value<Array>("nan in array");
  ASSERT_TRUE(nanInArray && nanInArray->size() == 1 && nanInArray->front().get<double>());
  EXPECT_TRUE(std::isnan(*nanInArray->front().get<double>()));
  EXPECT_TRUE(reopened->damagedKeys().empty());
  EXPECT_EQ(reopened->allKeys().size(), table.size() + 2);
}

TEST(DefaultsStorage, DebugDescription) {
  // clang-format off
  const std::vector<std::pair<PropertyListValue, std::string>> table = {
      {"say \"hi\"\n", R"("say \"hi\"\n")"}, {true, "true"}, {std::int64_t{-3}, "-3"},
      {1.5f, "1.5"}, {0.1, "0.1"}, {Data(std::vector<std::uint8_t>{1, 2, 3}), "<3 bytes>"},
      {Date(0.5), "2001-01-01T00:00:00.500Z"}, {*URL::fromString("https://a/b?c"), "https://a/b?c"},
      {Array{std::int64_t{1}, Array{}, "a"}, R"([1, [], "a"])"},
      {Dictionary{{"k", false}, {"a", Dictionary{}}}, R"({"a": {}, "k": false})"}};
  // clang-format on
  for (const auto& [value, text] : table) EXPECT_EQ(value.debugDescription(), text);
}

// A value nested deeper than the database keeps is refused before anything is written.
TEST(DefaultsStorage, TooDeepIsRefusedAndNothingChanges) {
  auto defaults = Defaults::inMemory();
  PropertyListValue deep = Array{};
  for (int i = 1; i < detail::kMaxDefaultsNesting; ++i) deep = Array{deep};
  defaults->set("deep", deep);  // exactly the limit
  EXPECT_EQ(defaults->object("deep"), deep);
  EXPECT_THROW(defaults->set("deep", Array{deep}), std::invalid_argument);
  EXPECT_EQ(defaults->object("deep"), deep);
}

// The container reader never reads past its bytes: every cut of a valid
// blob and every single-byte change is either refused or read as a value.
TEST(DefaultsEncoding, DamagedBlobsAreRefusedSafely) {
  std::vector<std::uint8_t> blob;
  detail::encodeContainer(nested(), blob);
  EXPECT_EQ(detail::decodeContainer(blob, Kind::array), nested());
  EXPECT_FALSE(detail::decodeContainer(blob, Kind::dictionary));
  for (std::size_t size = 0; size < blob.size(); ++size) {
    EXPECT_FALSE(detail::decodeContainer(std::span(blob.data(), size), Kind::array)) << size;
  }
  std::mt19937 random(7);
  for (std::size_t at = 0; at < blob.size(); ++at) {
    for (int trial = 0; trial < 8; ++trial) {
      auto changed = blob;
      changed[at] = static_cast<std::uint8_t>(random());
      (void)detail::decodeContainer(changed, Kind::array);
    }
  }
  // Arrays of one element, nested to the limit and one past it.
  auto chain = [](int depth) {
    std::vector<std::uint8_t> bytes{1};
    for (int i = 0; i < depth; ++i) bytes.insert(bytes.end(), {8, 1});
    bytes.insert(bytes.end(), {2, 0});
    return bytes;
  };
  EXPECT_TRUE(detail::decodeContainer(chain(detail::kMaxDefaultsNesting), Kind::array));
  std::vector<std::uint8_t> tooDeep = chain(detail::kMaxDefaultsNesting + 1);
  std::vector<std::uint8_t> hugeCount{1, 8, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x7f};
  std::vector<std::uint8_t> repeatedKey{1, 9, 2, 1, 'k', 1, 1, 1, 'k', 1, 0};
  for (const auto& junk : {tooDeep, hugeCount, repeatedKey}) {
    EXPECT_FALSE(detail::decodeContainer(junk, junk[1] == 8 ? Kind::array : Kind::dictionary));
  }
}

TEST(DefaultsPaths, FileNamesAndDefaultDirectory) {
  const std::filesystem::path dir = "/data/app";
  // clang-format off
  const std::vector<std::pair<std::string, std::string>> names = {
      {"com.example.player", "com.example.player.sqlite"}, {"a/b", "a%2Fb.sqlite"},
      {"..", "...sqlite"}, {"a b%", "a%20b%25.sqlite"}, {"caf\xc3\xa9", "caf%C3%A9.sqlite"}};
  // clang-format on
  for (const auto& [suite, file] : names) EXPECT_EQ(Defaults::databasePath(dir, suite), dir / file);

  ScopedEnv home("HOME", "/home/u");
  {
    ScopedEnv config("XDG_CONFIG_HOME", "/cfg");
    EXPECT_EQ(Defaults::defaultDirectory("com.app"), "/cfg/com.app");
  }
  {
    ScopedEnv config("XDG_CONFIG_HOME", "relative/cfg");
    EXPECT_EQ(Defaults::defaultDirectory("com.app"), "/home/u/.config/com.app");
  }
  ScopedEnv config("XDG_CONFIG_HOME", nullptr);
  EXPECT_EQ(Defaults::defaultDirectory("../x"), "/home/u/.config/..%2Fx");
  EXPECT_THROW(Defaults::defaultDirectory(""), std::invalid_argument);
}

TEST(DefaultsReading, URLRules) {
  ScopedEnv home("HOME", "/home/u/");
  auto defaults = Defaults::inMemory();
  // clang-format off
  const std::vector<std::pair<PropertyListValue, std::optional<std::string>>> table = {
      {*URL::fromString("https://a/b"), "https://a/b"},
      {"https://example.com/p?q=1", "https://example.com/p?q=1"},
      {"/tmp/a b", "file:///tmp/a%20b"}, {"~/Music/x", "file:///home/u/Music/x"},
      {"~user/x", std::nullopt}, {"relative/path", std::nullopt}, {"", std::nullopt},
      {std::int64_t{3}, std::nullopt},
      {Data(std::string_view("https://a/b")), std::nullopt}};
  // clang-format on
  for (const auto& [stored, expected] : table) {
    defaults->set("k", stored);
    auto url = defaults->url("k");
    EXPECT_EQ(url ? std::optional<std::string>(url->absoluteString()) : std::nullopt, expected)
        << stored.debugDescription();
  }
  EXPECT_FALSE(defaults->url("missing"));
  ScopedEnv noHome("HOME", nullptr);
  defaults->set("k", "~/x");
  EXPECT_FALSE(defaults->url("k"));
}

TEST(DefaultsOpening, SameFileSameObjectAndBadNames) {
  ScratchDirectory dir;
  auto first = Defaults::open("s", dir.path());
  EXPECT_EQ(Defaults::open("s", dir.path() / "." / ""), first);
  EXPECT_NE(Defaults::open("t", dir.path()), first);
  EXPECT_NE(Defaults::inMemory("s"), Defaults::inMemory("s"));
  EXPECT_THROW(Defaults::open("", dir.path()), std::invalid_argument);
}

std::shared_ptr<Seen> record(const std::shared_ptr<Defaults>& defaults, std::string_view key,
                             rx::DisposeBag& bag) {
  auto seen = std::make_shared<Seen>();
  defaults->observe(key)
      .subscribe([seen](const std::optional<PropertyListValue>& v) { seen->push_back(v); })
      .disposed(bag);
  return seen;
}

TEST(DefaultsRemoving, PersistentDomainOwnOtherAndMissing) {
  ScratchDirectory dir;
  auto own = Defaults::open("own", dir.path());
  own->set("a", std::int64_t{1});
  {
    auto closed = Defaults::open("closed", dir.path());
    closed->set("b", std::int64_t{2});
  }
  auto open = Defaults::open("open", dir.path());
  open->set("c", std::int64_t{3});
  rx::DisposeBag bag;
  auto ownSeen = record(own, "a", bag);
  auto openSeen = record(open, "c", bag);

  own->removePersistentDomain("closed");
  EXPECT_TRUE(std::filesystem::exists(Defaults::databasePath(dir.path(), "closed")));
  EXPECT_TRUE(Defaults::open("closed", dir.path())->allKeys().empty());

  own->removePersistentDomain("open");
  EXPECT_EQ(*openSeen, (Seen{std::int64_t{3}, std::nullopt}));
  EXPECT_FALSE(open->hasObject("c"));

  own->removePersistentDomain("missing");
  own->removePersistentDomain("");
  EXPECT_FALSE(std::filesystem::exists(Defaults::databasePath(dir.path(), "missing")));
  EXPECT_TRUE(own->hasObject("a"));

  own->removePersistentDomain("own");
  EXPECT_EQ(*ownSeen, (Seen{std::int64_t{1}, std::nullopt}));
  EXPECT_TRUE(own->dictionaryRepresentation().empty());
  EXPECT_TRUE(std::filesystem::exists(own->path()));
}

// Observers get the value now, then every write and removal in commit order,
// including a write made by an observer's own handler: both observers see
// 1 before 2, though the second hears of 1 after the first has written 2.
TEST(DefaultsObserving, NowThenEveryWriteInOrderWithAWritingHandler) {
  auto defaults = Defaults::inMemory();
  defaults->set("k", "before");
  rx::DisposeBag bag;
  Seen first;
  defaults->observe("k")
      .subscribe([&](const std::optional<PropertyListValue>& v) {
        first.push_back(v);
        if (v == PropertyListValue(std::int64_t{1})) defaults->set("k", std::int64_t{2});
        if (v == PropertyListValue(std::int64_t{3})) defaults->removeObject("k");
      })
      .disposed(bag);
  auto second = record(defaults, "k", bag);
  auto other = record(defaults, "other", bag);

  defaults->set("k", std::int64_t{1});
  EXPECT_EQ(defaults->value<std::int64_t>("k"), 2);
  defaults->set("k", std::int64_t{2});  // an equal value is still a write
  defaults->set("k", std::int64_t{3});
  defaults->removeObject("k");  // nothing there: no element
  const Seen expected{"before",        std::int64_t{1}, std::int64_t{2},
                      std::int64_t{2}, std::int64_t{3}, std::nullopt};
  EXPECT_EQ(first, expected);
  EXPECT_EQ(*second, expected);
  EXPECT_EQ(*other, Seen{std::nullopt});

  // A subscription made later starts from the value of that moment.
  defaults->removeObjects({"k", "other"});
  defaults->set("k", true);
  EXPECT_EQ(*record(defaults, "k", bag), Seen{true});

  bag = rx::DisposeBag();
  defaults->set("k", false);
  EXPECT_EQ(second->back(), PropertyListValue(true));
}

// Another connection's commits (here a raw SQLite one, as another process
// would make) show after synchronize: changed and removed keys reach their
// observers once, unchanged keys are not announced again.
TEST(DefaultsOutsideChanges, SeenAfterSynchronize) {
  ScratchDirectory dir;
  auto defaults = Defaults::open("shared", dir.path());
  defaults->set("same", "x");
  defaults->set("gone", std::int64_t{1});
  rx::DisposeBag bag;
  auto changed = record(defaults, "changed", bag);
  auto gone = record(defaults, "gone", bag);
  auto same = record(defaults, "same", bag);

  RawDatabase outside(defaults->path());
  outside.exec("INSERT INTO defaults(key, kind, value) VALUES('changed', 2, 42)");
  outside.exec("DELETE FROM defaults WHERE key = 'gone'");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(*changed, (Seen{std::nullopt, std::int64_t{42}}));
  EXPECT_EQ(*gone, (Seen{std::int64_t{1}, std::nullopt}));
  EXPECT_EQ(*same, Seen{"x"});
  EXPECT_EQ(defaults->value<std::int64_t>("changed"), 42);

  // Our own writes in between do not hide theirs.
  defaults->set("same", "y");
  outside.exec("UPDATE defaults SET value = 43 WHERE key = 'changed'");
  defaults->set("same", "z");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(changed->back(), PropertyListValue(std::int64_t{43}));
  EXPECT_EQ(*same, (Seen{"x", "y", "z"}));
}

TEST(DefaultsDamage, UnreadableRowsReadAsAbsentAndStayUntouched) {
  ScratchDirectory dir;
  const auto path = Defaults::databasePath(dir.path(), "damaged");
  {
    auto defaults = Defaults::open("damaged", dir.path());
    defaults->set("good", "fine");
    defaults->set("list", nested());
    RawDatabase outside(path);
    const std::vector<unsigned char> junk{1, 8, 0xff, 0xff, 0xff, 0x0f, 8};
    outside.exec("INSERT INTO defaults VALUES('junk', 8, ?1)", &junk);
    outside.exec("INSERT INTO defaults VALUES('unknown kind', 42, 1)");
    outside.exec("INSERT INTO defaults VALUES('not a boolean', 1, 7)");
    outside.exec("INSERT INTO defaults VALUES('bad url', 7, 'a b')");
    EXPECT_TRUE(defaults->synchronize());
    EXPECT_EQ(defaults->damagedKeys(),
              (std::vector<std::string>{"bad url", "junk", "not a boolean", "unknown kind"}));
  }
  auto defaults = Defaults::open("damaged", dir.path());
  EXPECT_EQ(defaults->damagedKeys().size(), 4u);
  EXPECT_FALSE(defaults->hasObject("junk"));
  EXPECT_FALSE(defaults->object("unknown kind"));
  EXPECT_EQ(defaults->value<std::string>("good"), "fine");
  EXPECT_EQ(defaults->object("list"), nested());
  EXPECT_EQ(RawDatabase(path).text("SELECT hex(value) FROM defaults WHERE key = 'junk'"),
            "0108FFFFFF0F08");

  defaults->set("junk", std::int64_t{5});
  defaults->removeObject("bad url");
  EXPECT_EQ(defaults->damagedKeys(), (std::vector<std::string>{"not a boolean", "unknown kind"}));
  EXPECT_EQ(defaults->value<std::int64_t>("junk"), 5);
}

// A file that is not a sound database is refused, named in the error, and
// left byte for byte as it was.
TEST(DefaultsDamage, DamagedFilesAreRefusedAndLeftAlone) {
  ScratchDirectory dir;
  const auto path = Defaults::databasePath(dir.path(), "suite");
  // Not a database at all, a database cut in half, one with a page overwritten.
  const std::pair<int, const char*> cases[] = {
      {0, "file is not a database"}, {1, "malformed"}, {2, "malformed"}};
  for (const auto& [damage, problem] : cases) {
    SCOPED_TRACE(damage);
    std::filesystem::remove(path);
    if (damage == 0) {
      std::ofstream(path) << std::string(10000, 'x');
    } else {
      auto defaults = Defaults::open("suite", dir.path());
      for (int i = 0; i < 40; ++i) defaults->set("key" + std::to_string(i), std::string(1000, 'v'));
    }
    if (damage == 1) std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    if (damage == 2) {
      std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).seekp(4096 + 8)
          << std::string(2000, '\xab');
    }
    ASSERT_GT(std::filesystem::file_size(path), 4096u * 2);
    const auto before = testing::fileBytes(path);
    try {
      Defaults::open("suite", dir.path());
      ADD_FAILURE() << "opened";
    } catch (const DefaultsError& e) {
      const std::string what = e.what();
      EXPECT_EQ(e.path(), std::filesystem::canonical(path));
      EXPECT_NE(what.find(std::filesystem::canonical(path).string()), std::string::npos) << what;
      EXPECT_NE(what.find(problem), std::string::npos) << what;
    }
    EXPECT_EQ(testing::fileBytes(path), before);
  }
}

}  // namespace
}  // namespace zorlan
