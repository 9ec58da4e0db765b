// zorlan/JSON/JSONSerialization.hpp: untyped dictionaries, read, written and decoded.
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <cmath>
#include <limits>
#include <system_error>

#include "support/JSONCodingTestSupport.hpp"
#include "zorlan/JSON/JSONSerialization.hpp"

namespace zorlan {

struct Channel {
  std::string name;
  int number = 0;
  std::optional<double> rating;
  std::optional<Date> launched;
};
ZORLAN_CODABLE(Channel, name, number, rating, launched);

namespace {

using std::string_literals::operator""s;
enum class Outcome { dictionary, notJSON, readingError };
constexpr Outcome kOK = Outcome::dictionary, kNotDictionary = Outcome::notJSON,
                  kBad = Outcome::readingError;

struct Reading {
  const char* name;
  std::string text;
  JSONReadingOptions options;
  Outcome outcome;
};

const JSONReadingOptions kFragments{.fragmentsAllowed = true};

// clang-format off
const Reading kReadings[] = {
    {"object", R"({"a":1})", {}, kOK}, {"object after a UTF-8 mark", "\xEF\xBB\xBF{}", {}, kOK},
    {"array", "[1,2]", {}, kNotDictionary}, {"number", "5", {}, kBad}, {"empty", "", {}, kBad},
    {"array with fragments allowed", "[]", kFragments, kNotDictionary},
    {"number with fragments allowed", "5", kFragments, kNotDictionary},
    {"empty with fragments allowed", "", kFragments, kBad}, {"unclosed", R"({"a":1)", {}, kBad},
    {"UTF-16 mark", "\xFF\xFE{\0}\0"s, {}, kBad}, {"comment", "{/* c */}", {}, kBad},
    {"comment allowed", "{/* c */\"a\":1 // d\n}", {.allowComments = true}, kOK},
    {"trailing comma", "{\"a\":1,}", {}, kBad},
    {"trailing comma allowed", "{\"a\":[1,],}", {.allowTrailingCommas = true}, kOK},
    {"trailing comma allowed, comment not", "{\"a\":1,/**/}", {.allowTrailingCommas = true}, kBad},
    {"512 levels", "{\"a\":" + std::string(511, '[') + std::string(511, ']') + "}", {}, kOK},
    {"513 levels", "{\"a\":" + std::string(512, '[') + std::string(512, ']') + "}", {}, kBad}};
// clang-format on

TEST(JSONSerialization, ReadingGivesADictionaryOrTheRightError) {
  for (const Reading& r : kReadings) {
    SCOPED_TRACE(r.name);
    try {
      JSONSerialization::json(Data(r.text), r.options);
      EXPECT_EQ(r.outcome, Outcome::dictionary);
    } catch (const JSONSerializationError& error) {
      EXPECT_EQ(r.outcome, Outcome::notJSON);
      EXPECT_EQ(error.code(), JSONSerializationError::Code::returnTypeNotJSON);
    } catch (const JSONReadingError& error) {
      EXPECT_EQ(r.outcome, Outcome::readingError) << error.what();
    }
  }
}

TEST(JSONSerialization, ReadsTheDictionaryWithItsValues) {
  JSONDictionary d = JSONSerialization::json(Data(
      R"({"s":"\u00e9","i":-3,"u":18446744073709551615,"d":1.5,"b":true,"n":null,"o":{"a":[]}})"));
  EXPECT_EQ(
      d, boost::json::parse(
             R"({"s":"é","i":-3,"u":18446744073709551615,"d":1.5,"b":true,"n":null,"o":{"a":[]}})")
             .as_object());
  EXPECT_TRUE(d.at("b").is_bool());
  EXPECT_TRUE(d.at("u").is_uint64());
}

TEST(JSONSerialization, ZeroWithAHugeExponentIsZero) {
  // Not NaN, which would make the dictionary unequal to itself.
  const std::pair<const char*, const char*> cases[] = {{R"({"n":0e400})", R"({"n":0})"},
                                                       {R"({"n":-0.000e999})", R"({"n":-0})"}};
  for (const auto& [text, written] : cases) {
    SCOPED_TRACE(text);
    JSONDictionary d = JSONSerialization::json(std::string_view(text));
    EXPECT_EQ(d, d);
    EXPECT_EQ(JSONSerialization::string(d), written);
  }
  // Beyond the range otherwise: infinity, which cannot be written.
  JSONDictionary huge = JSONSerialization::json(std::string_view(R"({"n":0.1e400})"));
  EXPECT_THROW(JSONSerialization::string(huge), EncodingError);
}

TEST(JSONSerialization, AReadingErrorSaysWhereAndWhy) {
  const auto readingError = [](std::string_view text) {
    return testing::raised<JSONReadingError>([&] { JSONSerialization::json(text); });
  };
  {
    const JSONReadingError error = readingError(R"({"a": x})");
    EXPECT_EQ(error.offset(), 6u);
    EXPECT_EQ(error.errorDomain(), "NSCocoaErrorDomain");
    EXPECT_EQ(error.errorCode(), 3840);
    ASSERT_EQ(error.underlyingErrors().size(), 1u);
    EXPECT_THROW(std::rethrow_exception(error.underlyingErrors()[0]), std::system_error);
    EXPECT_NE(std::string(error.what()).find("around byte 6"), std::string::npos) << error.what();
  }
  EXPECT_EQ(readingError("7").reason(),
            "JSON text did not start with array or object and option to allow fragments not set.");
  EXPECT_TRUE(readingError("7").underlyingErrors().empty());
  EXPECT_STREQ(JSONSerializationError::returnTypeNotJSON().what(),
               "JSONSerializationError.returnTypeNotJSON");
}

TEST(JSONSerialization, JSONObjectKeepsFragmentsAndArrays) {
  EXPECT_EQ(JSONSerialization::jsonObject(std::string_view("[1,\"a\"]")),
            boost::json::parse("[1,\"a\"]"));
  EXPECT_EQ(JSONSerialization::jsonObject(std::string_view("-0.5"), kFragments),
            boost::json::value(-0.5));
}

TEST(JSONSerialization, WritesTheLibrarysFormAndRefusesWhatJSONCannotHold) {
  boost::json::object o{{"path", "a/b"}, {"n", 3.0}, {"list", boost::json::array{1, 2}}};
  EXPECT_EQ(JSONSerialization::string(o), R"({"path":"a\/b","n":3,"list":[1,2]})");
  boost::json::object nested{{"a", boost::json::array{1, boost::json::object{{"x", HUGE_VAL}}}}};
  EXPECT_THROW(JSONSerialization::string(nested), EncodingError);
  EXPECT_THROW(JSONSerialization::string(boost::json::object{{"\xFF", 1}}), EncodingError);
}

TEST(FromJSON, DecodesTypedValuesFromADictionary) {
  JSONDictionary d{
      {"name", "BBC One"}, {"number", 1.0}, {"rating", 4}, {"launched", "1936-11-02T15:00:00Z"}};
  Channel c = from<Channel>(d);
  EXPECT_EQ(std::tie(c.name, c.number, c.rating), std::tuple("BBC One", 1, 4.0));
  EXPECT_EQ(c.launched, Date::fromTimeIntervalSince1970(-1046509200.0));
  // Optional members may be missing or null.
  Channel minimal =
      from<Channel>(JSONDictionary{{"name", "x"}, {"number", 2}, {"rating", nullptr}});
  EXPECT_EQ(minimal.rating, std::nullopt);
  EXPECT_EQ(minimal.launched, std::nullopt);
}

TEST(FromJSON, DecodingErrorsPassThroughUnchanged) {
  const auto fromOutcome = [](const JSONDictionary& d) {
    return testing::describe(testing::raised<DecodingError>([&] { from<Channel>(d); }));
  };
  // Dates are ISO 8601 text: seconds are refused.
  EXPECT_EQ(fromOutcome({{"name", "x"}, {"number", 1}, {"launched", 0}}),
            "typeMismatch [launched] Expected to decode String but found number instead.");
  // A dictionary that cannot be written is an encoding error: a NaN rating is refused, not
  // read back as an absent rating.
  EXPECT_THROW(
      from<Channel>(
          {{"name", "x"}, {"number", 1}, {"rating", std::numeric_limits<double>::quiet_NaN()}}),
      EncodingError);
}

}  // namespace
}  // namespace zorlan
