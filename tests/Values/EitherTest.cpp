// zorlan/Values/Either.hpp, EitherCoding.hpp: the two cases, their maps and visits, and their JSON
// coding.
#include <gtest/gtest.h>

#include <stdexcept>

#include "support/JSONCodingTestSupport.hpp"
#include "zorlan/Values/EitherCoding.hpp"

namespace zorlan {
namespace {

using IntOrString = Either<int, std::string>;
using Twins = Either<int, int>;
using Kind = DecodingError::Kind;
using testing::decodingError;
constexpr const char* kKeysMessage = "Invalid number of keys found, expected one.";

std::string json(const auto& value) { return JSONEncoder().encodeToString(value); }

TEST(EitherTest, CasesHoldTheirPayloadsAndCompareByCase) {
  EXPECT_TRUE(IntOrString::left(5).isLeft() && !IntOrString::left(5).rightValue());
  EXPECT_EQ(IntOrString::right("x").leftValue(), nullptr);
  // Same types on both sides: only the case tells them apart.
  EXPECT_NE(Twins::left(1), Twins::right(1));
  EXPECT_EQ(std::pair(Twins::left(4).first(), Twins::right(9).first()), std::pair(4, 9));
}

TEST(EitherTest, MapsAndVisitRunOnlyTheActionOfTheCaseHeld) {
  int calls = 0;
  auto length = [&](const std::string& s) {
    ++calls;
    return s.size();
  };
  EXPECT_EQ(IntOrString::right("abc").mapRight(length), (Either<int, std::size_t>::right(3)));
  EXPECT_EQ(IntOrString::left(2).mapRight(length), (Either<int, std::size_t>::left(2)));
  EXPECT_EQ(IntOrString::left(2).mapLeft([](int v) { return v * 2.5; }),
            (Either<double, std::string>::left(5.0)));
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(Twins::right(1).mapLeft([](int v) { return v + 1; }), Twins::right(1));
  EXPECT_EQ(Twins::left(1).mapRight([](int v) { return v + 1; }), Twins::left(1));
  EXPECT_EQ(Twins::right(2).visit([](int) { return 'L'; }, [](int) { return 'R'; }), 'R');
  auto fail = [](const auto&) -> int { throw std::runtime_error("boom"); };
  EXPECT_THROW(IntOrString::right("x").mapRight(fail), std::runtime_error);
  EXPECT_NO_THROW(IntOrString::right("x").mapLeft(fail));
  EXPECT_THROW(IntOrString::right("x").visit([](int) { return 0; }, fail), std::runtime_error);
}

TEST(EitherTest, CodesEachCaseUnderItsKeyWithThePayloadUnderUnderscoreZero) {
  using Mixed = Either<std::vector<int>, bool>;
  EXPECT_EQ(json(IntOrString::left(5)), R"({"left":{"_0":5}})");
  EXPECT_EQ(json(std::vector<Mixed>{Mixed::left({1, 2}), Mixed::right(false)}),
            R"([{"left":{"_0":[1,2]}},{"right":{"_0":false}}])");
  EXPECT_EQ(JSONDecoder().decode<IntOrString>(R"({"left":{"_0":1},"other":3})"),
            IntOrString::left(1));  // other members are ignored
  for (const auto& value : {Twins::left(-3), Twins::right(8)}) {
    EXPECT_EQ(JSONDecoder().decode<Twins>(json(value)), value);
  }
}

TEST(EitherTest, DecodingErrors) {
  // None or both keys: a type mismatch at the object's path; payload errors pass out unchanged.
  // clang-format off
  const std::tuple<const char*, Kind, const char*> cases[] = {
      {R"({"left":{"_0":1},"right":{"_0":2}})", Kind::typeMismatch, ""},
      {R"({})", Kind::typeMismatch, ""},
      {R"({"left":1})", Kind::typeMismatch, "left"},  // the payload is not nested under "_0"
      {R"({"left":{}})", Kind::keyNotFound, "left"},
      {R"({"right":{"_0":2}})", Kind::typeMismatch, "right._0"},
      {"[1]", Kind::typeMismatch, ""}};
  // clang-format on
  for (const auto& [text, kind, path] : cases) {
    SCOPED_TRACE(text);
    const DecodingError error = decodingError<IntOrString>(text);
    EXPECT_EQ(error.kind(), kind);
    EXPECT_EQ(codingPathString(error.context().codingPath), path);
    const bool keyCount = text[0] == '{' && !*path;
    EXPECT_EQ(error.context().debugDescription == kKeysMessage, keyCount);
    if (keyCount) {
      EXPECT_EQ(error.type(), "Either<Int32, String>");
    }
  }
  const DecodingError nested =
      decodingError<std::vector<IntOrString>>(R"([{"left":{"_0":1}},{"other":{}}])");
  EXPECT_EQ(nested.context().debugDescription, kKeysMessage);
  EXPECT_EQ(codingPathString(nested.context().codingPath), "1");
}

}  // namespace
}  // namespace zorlan
