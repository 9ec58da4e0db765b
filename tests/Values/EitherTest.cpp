#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/Values/EitherCoding.hpp"

namespace zorlan {
namespace {

using IntOrString = Either<int, std::string>;
using Twins = Either<int, int>;

std::string json(const auto& value) { return JSONEncoder().encodeToString(value); }

template <class T>
DecodingError decodingError(std::string_view text) {
  try {
    JSONDecoder().decode<T>(text);
  } catch (const DecodingError& error) {
    return error;
  }
  ADD_FAILURE() << "no error for " << text;
  return DecodingError::dataCorrupted({});
}

std::vector<std::string> pathOf(const DecodingError& error) {
  std::vector<std::string> keys;
  for (const CodingKey& key : error.context().codingPath) keys.push_back(key.stringValue);
  return keys;
}

TEST(EitherTest, CasesHoldTheirPayloadsAndCompareByCase) {
  const auto left = IntOrString::left(5);
  EXPECT_TRUE(left.isLeft());
  EXPECT_EQ(*left.leftValue(), 5);
  EXPECT_EQ(left.rightValue(), nullptr);
  EXPECT_EQ(IntOrString::right("x").leftValue(), nullptr);
  EXPECT_EQ(*IntOrString::right("x").rightValue(), "x");
  EXPECT_EQ(IntOrString(), IntOrString::left(0));
  // Same types on both sides: only the case tells them apart.
  EXPECT_NE(Twins::left(1), Twins::right(1));
  EXPECT_NE(Twins::left(1), Twins::left(2));
  EXPECT_EQ(Twins::right(3), Twins::right(3));
  EXPECT_EQ(Twins::left(4).first(), 4);
  EXPECT_EQ(Twins::right(9).first(), 9);
  struct Opaque {};
  static_assert(!std::equality_comparable<Either<int, Opaque>>);
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
  EXPECT_EQ(Twins::right(2).visit([](int) { return "L"; }, [](int) { return "R"; }),
            std::string("R"));
  auto fail = [](const auto&) -> int { throw std::runtime_error("boom"); };
  EXPECT_THROW(IntOrString::right("x").mapRight(fail), std::runtime_error);
  EXPECT_NO_THROW(IntOrString::right("x").mapLeft(fail));
  EXPECT_THROW(IntOrString::right("x").visit([](int) { return 0; }, fail), std::runtime_error);
}

TEST(EitherTest, EncodesEachCaseUnderItsKeyWithThePayloadUnderUnderscoreZero) {
  EXPECT_EQ(json(IntOrString::left(5)), R"({"left":{"_0":5}})");
  EXPECT_EQ(json(IntOrString::right("x")), R"({"right":{"_0":"x"}})");
  EXPECT_EQ(json(std::vector<Either<std::vector<int>, bool>>{
                Either<std::vector<int>, bool>::left({1, 2}),
                Either<std::vector<int>, bool>::right(false)}),
            R"([{"left":{"_0":[1,2]}},{"right":{"_0":false}}])");
}

TEST(EitherTest, DecodesByTheKeyPresentIgnoringOtherMembers) {
  const JSONDecoder decoder;
  EXPECT_EQ(decoder.decode<IntOrString>(R"({"left":{"_0":1},"other":3})"), IntOrString::left(1));
  for (const auto& value : {Twins::left(-3), Twins::right(8)}) {
    EXPECT_EQ(decoder.decode<Twins>(json(value)), value);
  }
}

TEST(EitherTest, NoneOrBothKeysIsATypeMismatchAtTheObjectsPath) {
  for (const char* text : {R"({"left":{"_0":1},"right":{"_0":2}})", R"({})", R"({"_0":1})"}) {
    SCOPED_TRACE(text);
    const DecodingError error = decodingError<IntOrString>(text);
    EXPECT_EQ(error.kind(), DecodingError::Kind::typeMismatch);
    EXPECT_EQ(error.context().debugDescription, "Invalid number of keys found, expected one.");
    EXPECT_TRUE(error.context().codingPath.empty());
    EXPECT_EQ(error.type(), "Either<Int32, String>");
  }
  const DecodingError nested =
      decodingError<std::vector<IntOrString>>(R"([{"left":{"_0":1}},{"other":{}}])");
  EXPECT_EQ(nested.context().debugDescription, "Invalid number of keys found, expected one.");
  EXPECT_EQ(pathOf(nested), (std::vector<std::string>{"Index 1"}));
}

TEST(EitherTest, PayloadErrorsPassOutUnchanged) {
  const struct {
    const char* text;
    DecodingError::Kind kind;
    std::vector<std::string> path;
  } cases[] = {
      // The payload is not nested under "_0".
      {R"({"left":1})", DecodingError::Kind::typeMismatch, {"left"}},
      {R"({"left":{}})", DecodingError::Kind::keyNotFound, {"left"}},
      {R"({"right":{"_0":2}})", DecodingError::Kind::typeMismatch, {"right", "_0"}},
      {R"({"left":{"_0":"1"}})", DecodingError::Kind::typeMismatch, {"left", "_0"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const DecodingError error = decodingError<IntOrString>(c.text);
    EXPECT_EQ(error.kind(), c.kind);
    EXPECT_EQ(pathOf(error), c.path);
    EXPECT_NE(error.context().debugDescription, "Invalid number of keys found, expected one.");
  }
  EXPECT_EQ(decodingError<IntOrString>("[1]").kind(), DecodingError::Kind::typeMismatch);
}

}  // namespace
}  // namespace zorlan
