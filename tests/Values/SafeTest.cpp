// zorlan/Values/Safe.hpp: lossy decoding of members and array elements, and the exact line it
// reports for each value that fails.
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <stdexcept>

#include "support/JSONCodingTestSupport.hpp"
#include "support/LogCapture.hpp"
#include "zorlan/Values/Safe.hpp"

namespace zorlan {
namespace {

using testing::LogCapture;

const std::string kPrefix =
    "\u274C \U0001F92E\U0001F92E\U0001F92E server data is unexpected or corrupt, failed to "
    "decode element.";
const std::string kDecodingErrorPrefix = kPrefix + "\nError: ";
const std::string kOtherErrorPrefix = kPrefix + " Error: ";

// A report of a decoding error: the prefix, the error's kind, and the key path at the end.
void expectDecodingReport(const std::string& message, const std::string& kind,
                          const std::string& key) {
  EXPECT_TRUE(message.starts_with(kDecodingErrorPrefix + kind + "(")) << message;
  EXPECT_TRUE(message.ends_with(", key: " + key)) << message;
}

// Runs `body` on the keyed container of the JSON object `json`.
template <class F>
auto withContainer(std::string_view json, F body) {
  const boost::json::value value = boost::json::parse(json);
  const DecodingOptions options{};
  return body(Decoder(value, options).container());
}

// The lossy decode of the array member "items".
template <class T>
std::vector<T> safeItems(std::string_view json) {
  return withContainer(json, [](const KeyedDecodingContainer& k) {
    return decodeSafely<std::vector<T>>(k, "items");
  });
}

struct Show {
  std::string title;
  int year = 0;
};
ZORLAN_CODABLE(Show, title, year)

TEST(SafeTest, ArraysKeepTheElementsThatDecodeAndReportEachOtherOne) {
  // clang-format off
  const std::tuple<const char*, std::vector<int>, std::vector<std::string>> cases[] = {
      {R"({"items": [1, "x", 3]})", {1, 3}, {"items.1"}}, {R"({"items": []})", {}, {}},
      {R"({"items": [null, 2, 2.5, true]})", {2}, {"items.0", "items.2", "items.3"}},
      {R"({"items": [[1], {"a": 1}, 7]})", {7}, {"items.0", "items.1"}}};
  // clang-format on
  for (const auto& [json, expected, reportedPaths] : cases) {
    SCOPED_TRACE(json);
    for (const bool ifPresent : {false, true}) {
      LogCapture log;
      const std::vector<int> kept = withContainer(json, [&](const KeyedDecodingContainer& k) {
        return ifPresent ? decodeSafelyIfPresent<std::vector<int>>(k, "items").value()
                         : decodeSafely<std::vector<int>>(k, "items");
      });
      EXPECT_EQ(kept, expected);
      std::vector<std::string> paths;
      for (const auto& message : log.messages()) {
        paths.push_back(message.substr(message.rfind(", key: ") + 7));
      }
      EXPECT_EQ(paths, reportedPaths);
    }
  }
}

TEST(SafeTest, ReportOfADecodingErrorIsOneErrorLineWithDescriptionAndPath) {
  LogCapture log(LogLevelConfig{LogLevel::error, LogLevel::error});
  const char* json = R"({"items": [1, "x", 3]})";
  safeItems<int>(json);
  // The description is the one a strict decode of the same member throws.
  const std::string description = testing::raised<DecodingError>([&] {
                                    withContainer(json, [](const KeyedDecodingContainer& k) {
                                      return k.decode<std::vector<int>>("items");
                                    });
                                  }).description();
  const auto events = log.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].level, LoggerLevel::error);
  EXPECT_EQ(events[0].message, kDecodingErrorPrefix + description + ", key: items.1");
  EXPECT_EQ(std::tie(events[0].file, events[0].line, events[0].function),
            std::tuple("Wrappers/Safe", 28, "init(from:)"));
}

TEST(SafeTest, PathsOfNestedMembersAndOfDescribedElements) {
  LogCapture log;
  const auto shows = withContainer(
      R"({"page": {"shows": [{"title": "Dune", "year": 2021}, {"title": "Heat"},
                             {"title": "Up", "year": "2009"}, {"title": "Alien", "year": 1979}]}})",
      [](const KeyedDecodingContainer& k) {
        return decodeSafely<std::vector<Show>>(k.nestedContainer("page"), "shows");
      });
  ASSERT_EQ(shows.size(), 2u);
  EXPECT_EQ(shows[0].title, "Dune");
  EXPECT_EQ(shows[1].title, "Alien");
  const auto messages = log.messages();
  ASSERT_EQ(messages.size(), 2u);
  // The missing key names the element; the mistyped member is one level deeper.
  expectDecodingReport(messages[0], "keyNotFound", "page.shows.1");
  expectDecodingReport(messages[1], "typeMismatch", "page.shows.2.year");
}

TEST(SafeTest, TheMemberItselfIsNotLossy) {
  // What each lossy decode makes of a member that is missing, null or of the wrong kind: the
  // kind of DecodingError thrown, or whether a value came back; and how many reports the
  // single-value decode (always absent here) makes.
  const auto outcome = [](const char* json, auto decode) -> std::string {
    try {
      return withContainer(json, decode).has_value() ? "present" : "absent";
    } catch (const DecodingError& error) {
      const std::string described = testing::describe(error);
      return described.substr(0, described.find(' '));
    }
  };
  // clang-format off
  const std::tuple<const char*, const char*, const char*, std::size_t> cases[] = {
      {R"({})", "keyNotFound", "absent", 0}, {R"({"items": null})", "valueNotFound", "absent", 0},
      {R"({"items": "1, 2"})", "typeMismatch", "typeMismatch", 1}};
  // clang-format on
  const auto array = [](const KeyedDecodingContainer& k) {
    return std::optional(decodeSafely<std::vector<int>>(k, "items"));
  };
  const auto arrayIfPresent = [](const KeyedDecodingContainer& k) {
    return decodeSafelyIfPresent<std::vector<int>>(k, "items");
  };
  const auto singleIfPresent = [](const KeyedDecodingContainer& k) {
    return decodeSafelyIfPresent<int>(k, "items");
  };
  for (const auto& [json, ofArray, ofArrayIfPresent, reportsOfSingle] : cases) {
    SCOPED_TRACE(json);
    LogCapture log;
    EXPECT_EQ(outcome(json, array), ofArray);
    EXPECT_EQ(outcome(json, arrayIfPresent), ofArrayIfPresent);
    EXPECT_TRUE(log.events().empty());  // the array decodes report nothing here
    EXPECT_EQ(outcome(json, singleIfPresent), "absent");
    EXPECT_EQ(log.events().size(), reportsOfSingle);
  }
}

TEST(SafeTest, SingleValues) {
  LogCapture log;
  withContainer(R"({"year": 1984, "rating": "PG", "none": null})",
                [](const KeyedDecodingContainer& k) {
                  EXPECT_EQ(decodeSafelyIfPresent<int>(k, "year"), 1984);
                  EXPECT_EQ(decodeSafelyIfPresent<int>(k, "rating"), std::nullopt);
                  // A Safe decoded at a null member is decoded, so it reports.
                  EXPECT_EQ(k.decode<Safe<int>>("none").value(), std::nullopt);
                  // A Safe of an optional takes null as a value.
                  EXPECT_EQ(k.decode<Safe<std::optional<int>>>("none").value(),
                            std::optional<std::optional<int>>(std::in_place));
                  return 0;
                });
  const auto messages = log.messages();
  ASSERT_EQ(messages.size(), 2u);
  expectDecodingReport(messages[0], "typeMismatch", "rating");
  expectDecodingReport(messages[1], "valueNotFound", "none");
  EXPECT_EQ(codingTypeName<std::vector<Safe<std::int64_t>>>(), "Array<Safe<Int>>");
}

// Decodes by throwing what the JSON string names.
struct Thrower {
  static Thrower decode(const Decoder& decoder) {
    const std::string what = decoder.decode<std::string>();
    if (what == "runtime") throw std::runtime_error("catalog service returned garbage");
    if (what == "int") throw 42;
    return Thrower{};
  }
  void encode(Encoder&) const {}
};

TEST(SafeTest, OtherExceptionsAreReportedOnOneLineAtTheirOwnSourceLine) {
  LogCapture log;
  EXPECT_EQ(safeItems<Thrower>(R"({"items": ["runtime", "ok", "int", 3]})").size(), 1u);
  const auto events = log.events();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].message, kOtherErrorPrefix + "catalog service returned garbage");
  EXPECT_EQ(std::tie(events[0].file, events[0].line, events[0].function),
            std::tuple("Wrappers/Safe", 36, "init(from:)"));
  EXPECT_EQ(events[1].message, kOtherErrorPrefix + "int");
  // The JSON number is a decoding error of the string the type reads first.
  EXPECT_TRUE(events[2].message.starts_with(kDecodingErrorPrefix));
  EXPECT_EQ(events[2].line, 28);
}

}  // namespace
}  // namespace zorlan
