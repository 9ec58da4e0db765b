// How the decoder refuses text that is not JSON, and trees too deep to decode.
#include <gtest/gtest.h>

#include <string>
#include <system_error>

#include "zorlan/Coding/JSONDecoder.hpp"

namespace zorlan {
namespace {

TEST(JSONParsing, RefusedTextIsDataCorruptedWithTheParserErrorUnderneath) {
  const std::string documents[] = {
      "",  "01", "[1,]", R"({"a" 1})", "'a'", "\"a\nb\"", R"("\ud800")", "\"\xff\"", "[1/* c */]",
      "1 2", "[1", std::string(513, '[') + std::string(513, ']'),
      std::string(100000, '[') + std::string(100000, ']'),
  };
  for (const std::string& text : documents) {
    SCOPED_TRACE(text.substr(0, 16));
    try {
      JSONDecoder::parse(text);
      ADD_FAILURE() << "accepted";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted);
      EXPECT_EQ(error.context().debugDescription, "The given data was not valid JSON.");
      EXPECT_TRUE(error.context().codingPath.empty());
      ASSERT_TRUE(error.context().underlyingError);
      EXPECT_THROW(std::rethrow_exception(error.context().underlyingError), std::system_error);
      EXPECT_EQ(error.underlyingErrors().size(), 1u);
    }
  }
  EXPECT_NO_THROW(JSONDecoder::parse(std::string(512, '[') + std::string(512, ']')));
}

TEST(JSONParsing, IntegersStayExactBeyondDoublePrecision) {
  EXPECT_EQ(JSONDecoder().decode<std::int64_t>("9007199254740993"), 9007199254740993);
}

TEST(JSONParsing, DeeplyNestedTreesAreRefusedWhenDecodedFromATree) {
  // A tree built in memory, not parsed, still meets the depth limit.
  boost::json::value tree = boost::json::array();
  boost::json::value* innermost = &tree;
  for (int i = 0; i < 600; ++i) {
    innermost = &innermost->get_array().emplace_back(boost::json::array());
  }
  EXPECT_NO_THROW(JSONDecoder().decodeFromJSON<std::vector<boost::json::value>>(tree));
  struct Nested {
    static void decode(const Decoder& decoder) {
      UnkeyedDecodingContainer c = decoder.unkeyedContainer();
      while (!c.isAtEnd()) decode(c.superDecoder());
    }
  };
  try {
    Nested::decode(Decoder(tree, DecodingOptions{}));
    ADD_FAILURE() << "no error";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted);
    EXPECT_EQ(error.context().codingPath.size(), kMaxCodingDepth);
  }
}

}  // namespace
}  // namespace zorlan
