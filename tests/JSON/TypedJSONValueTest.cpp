#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <unordered_set>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/JSON/TypedJSONValue.hpp"
#include "zorlan/Numerics/RoughlyEqual.hpp"

namespace zorlan {
namespace {

using Kind = TypedJSONValue::Kind;

struct Holder {
  TypedJSONValue leaf;
};
ZORLAN_CODABLE(Holder, leaf);

TEST(TypedJSONValueTest, DecodesStringsBooleansAndNumbersAsTheirOwnCase) {
  struct Case {
    const char* json;
    TypedJSONValue expected;
  };
  const Case cases[] = {
      {R"("1")", TypedJSONValue::string("1")},  // a string of digits stays a string
      {R"("true")", TypedJSONValue::string("true")},
      {R"("")", TypedJSONValue::string("")},
      {"1", TypedJSONValue::number(1.0)},
      {"-0.25", TypedJSONValue::number(-0.25)},
      {"1e3", TypedJSONValue::number(1000.0)},
      {"18446744073709551615", TypedJSONValue::number(18446744073709551615.0)},
      {"-9223372036854775808", TypedJSONValue::number(-9223372036854775808.0)},
      {"true", TypedJSONValue::boolean(true)},  // never the number 1
      {"false", TypedJSONValue::boolean(false)},
  };
  for (const auto& c : cases) {
    TypedJSONValue decoded = JSONDecoder().decode<TypedJSONValue>(std::string_view(c.json));
    EXPECT_EQ(decoded, c.expected) << c.json;
    EXPECT_EQ(decoded.kind(), c.expected.kind()) << c.json;
  }
}

TEST(TypedJSONValueTest, RefusesNullArraysAndObjectsWithItsOwnErrorAtTheDecoderPath) {
  for (const char* json : {"null", "[]", "[1]", "{}", R"({"a":1})"}) {
    try {
      JSONDecoder().decode<TypedJSONValue>(std::string_view(json));
      ADD_FAILURE() << "decoded " << json;
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted) << json;
      EXPECT_EQ(error.context().debugDescription, "Invalid JSON value a.") << json;
      EXPECT_TRUE(error.context().codingPath.empty()) << json;
      EXPECT_EQ(error.context().underlyingError, nullptr) << json;
    }
  }
  try {
    JSONDecoder().decode<std::vector<Holder>>(std::string_view(R"([{"leaf":1},{"leaf":null}])"));
    ADD_FAILURE() << "decoded a null leaf";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.context().debugDescription, "Invalid JSON value a.");
    EXPECT_EQ(codingPathString(error.context().codingPath), "1.leaf");
  }
}

TEST(TypedJSONValueTest, EncodesEachCaseAsItsSingleValue) {
  const JSONEncoder encoder;
  EXPECT_EQ(encoder.encodeToString(TypedJSONValue("a/b")), R"("a\/b")");
  EXPECT_EQ(encoder.encodeToString(TypedJSONValue(3)), "3");
  EXPECT_EQ(encoder.encodeToString(TypedJSONValue(-1.5)), "-1.5");
  EXPECT_EQ(encoder.encodeToString(TypedJSONValue(false)), "false");
  EXPECT_EQ(encoder.encodeToString(TypedJSONValue("false")), R"("false")");
  EXPECT_THROW(encoder.encodeToString(TypedJSONValue(std::numeric_limits<double>::infinity())),
               EncodingError);
}

TEST(TypedJSONValueTest, ConstructionPicksTheCaseFromTheArgumentType) {
  EXPECT_EQ(TypedJSONValue("x").kind(), Kind::string);  // not the Boolean a pointer converts to
  EXPECT_EQ(TypedJSONValue(std::string("x")).kind(), Kind::string);
  EXPECT_EQ(TypedJSONValue(std::string_view("x")).kind(), Kind::string);
  EXPECT_EQ(TypedJSONValue(0).kind(), Kind::number);
  EXPECT_EQ(TypedJSONValue(2.5f).kind(), Kind::number);
  EXPECT_EQ(TypedJSONValue(true).kind(), Kind::boolean);

  const TypedJSONValue n(4);
  EXPECT_EQ(n.numberValue(), 4.0);
  EXPECT_EQ(n.stringValue(), nullptr);
  EXPECT_EQ(n.boolValue(), std::nullopt);
  EXPECT_EQ(*TypedJSONValue("s").stringValue(), "s");
  EXPECT_EQ(TypedJSONValue(false).boolValue(), false);
}

TEST(TypedJSONValueTest, EqualityAndHashingGoByCaseThenPayload) {
  EXPECT_NE(TypedJSONValue("1"), TypedJSONValue(1));
  EXPECT_NE(TypedJSONValue(1), TypedJSONValue(true));
  EXPECT_NE(TypedJSONValue(0), TypedJSONValue(false));
  EXPECT_NE(TypedJSONValue(""), TypedJSONValue(false));
  EXPECT_EQ(TypedJSONValue(0.0), TypedJSONValue(-0.0));
  EXPECT_EQ(std::hash<TypedJSONValue>()(TypedJSONValue(0.0)),
            std::hash<TypedJSONValue>()(TypedJSONValue(-0.0)));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_NE(TypedJSONValue(nan), TypedJSONValue(nan));  // exact double equality

  std::unordered_set<TypedJSONValue> set = {TypedJSONValue("1"), TypedJSONValue(1),
                                            TypedJSONValue(true), TypedJSONValue(1.0),
                                            TypedJSONValue(std::string("1"))};
  EXPECT_EQ(set.size(), 3u);
}

TEST(TypedJSONValueTest, RoughlyEqualComparesNumbersStrictlyWithinTheToleranceAndOthersExactly) {
  struct Case {
    TypedJSONValue lhs, rhs;
    double within;
    bool expected;
  };
  const Case cases[] = {
      {1.0, 1.05, 0.1, true},    {1.0, 1.05, 0.05, false},
      {2.0, 2.5, 0.5, false},  // a difference equal to the tolerance is too much
      {2.5, 2.0, 0.51, true},    {-1.0, 1.0, 2.5, true},
      {3.0, 3.0, 0.0, false},    {"a", "a", 0.0, true},
      {"a", "A", 100.0, false},  {"1", 1.0, 100.0, false},
      {true, true, 0.0, true},   {true, false, 100.0, false},
      {true, 1.0, 100.0, false}, {false, "", 100.0, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.lhs.roughlyEqual(c.rhs, c.within), c.expected)
        << c.lhs.debugDescription() << " vs " << c.rhs.debugDescription() << " within " << c.within;
    EXPECT_EQ(zorlan::roughlyEqual(c.lhs, c.rhs, c.within), c.expected);
  }
}

TEST(TypedJSONValueTest, DebugDescriptionQuotesStringsAndKeepsNumbersReadable) {
  struct Case {
    TypedJSONValue value;
    std::string expected;
  };
  const Case cases[] = {
      {"plain", R"("plain")"},
      {"say \"hi\"", R"("say \"hi\"")"},
      {"back\\slash", R"("back\\slash")"},
      {"it's", R"("it's")"},
      {"a\nb\tc\rd", R"("a\nb\tc\rd")"},
      {std::string("nul\0!", 5), R"("nul\0!")"},
      {"\x1b[0m\x7f", R"("\u{1b}[0m\u{7f}")"},
      {"caf\xC3\xA9 \xF0\x9F\x8E\xAC", "\"caf\xC3\xA9 \xF0\x9F\x8E\xAC\""},
      {"bad\xFF", "\"bad\xEF\xBF\xBD\""},  // ill-formed UTF-8 reads as U+FFFD
      {1.0, "1.0"},
      {3, "3.0"},
      {-2.5, "-2.5"},
      {0.1, "0.1"},
      {1e20, "1e+20"},
      {123456789.0, "123456789.0"},
      {5e-324, "5e-324"},
      {true, "true"},
      {false, "false"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.value.debugDescription(), c.expected);
}

}  // namespace
}  // namespace zorlan
