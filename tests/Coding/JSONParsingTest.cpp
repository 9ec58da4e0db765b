// What the decoder accepts as JSON text (RFC 8259) and how it refuses the rest.
#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <system_error>

#include "zorlan/Coding/JSONDecoder.hpp"

namespace zorlan {
namespace {

struct Document {
  std::string name;
  std::string text;
};

std::ostream& operator<<(std::ostream& os, const Document& d) { return os << d.name; }

const Document kAccepted[] = {
    {"negative zero", "-0"},
    {"fraction and exponent", "1.5e3"},
    {"upper-case negative exponent", "-1E-2"},
    {"integer wider than 64 bits", "123456789012345678901234567890"},
    {"tiny number", "1e-400"},
    {"all short escapes", R"("\" \\ \/ \b \f \n \r \t")"},
    {"surrogate pair escape", R"("\ud83d\ude00")"},
    {"four-byte UTF-8", "\"\xf0\x9f\x98\x80\""},
    {"DEL is not a control character", "\"\x7f\""},
    {"white space of all four kinds", " \t\r\n[ 1 ,\n\t2 ] \r\n"},
    {"duplicate keys", R"({"a":1,"a":2})"},
    {"512 levels", std::string(512, '[') + std::string(512, ']')},
};

const Document kRefused[] = {
    {"empty text", ""},
    {"only white space", "  \n"},
    {"leading zero", "01"},
    {"bare minus", "-"},
    {"trailing dot", "1."},
    {"leading dot", ".5"},
    {"leading plus", "+1"},
    {"exponent without digits", "1e"},
    {"NaN", "NaN"},
    {"trailing comma in array", "[1,]"},
    {"trailing comma in object", R"({"a":1,})"},
    {"missing colon", R"({"a" 1})"},
    {"single quotes", "'a'"},
    {"raw line feed in string", "\"a\nb\""},
    {"raw control character", std::string("\"a\x01\"")},
    {"unknown escape", R"("\x41")"},
    {"short unicode escape", R"("\u12")"},
    {"lone high surrogate", R"("\ud800")"},
    {"lone low surrogate", R"("\udc00")"},
    {"high surrogate before a letter", R"("\ud800\u0041")"},
    {"block comment", "[1/* c */]"},
    {"two documents", "1 2"},
    {"unclosed array", "[1"},
    {"513 levels", std::string(513, '[') + std::string(513, ']')},
    {"100000 levels", std::string(100000, '[') + std::string(100000, ']')},
};

class AcceptedDocument : public ::testing::TestWithParam<Document> {};
class RefusedDocument : public ::testing::TestWithParam<Document> {};

TEST_P(AcceptedDocument, Parses) { EXPECT_NO_THROW(JSONDecoder::parse(GetParam().text)); }

TEST_P(RefusedDocument, IsDataCorruptedWithTheParserError) {
  try {
    JSONDecoder::parse(GetParam().text);
    ADD_FAILURE() << "accepted";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted);
    EXPECT_EQ(error.context().debugDescription, "The given data was not valid JSON.");
    EXPECT_TRUE(error.context().codingPath.empty());
    ASSERT_TRUE(error.context().underlyingError);
    EXPECT_THROW(std::rethrow_exception(error.context().underlyingError), std::system_error);
  }
}

std::string testName(const ::testing::TestParamInfo<Document>& info) {
  std::string name;
  for (char c : info.param.name) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(JSONParsing, AcceptedDocument, ::testing::ValuesIn(kAccepted), testName);
INSTANTIATE_TEST_SUITE_P(JSONParsing, RefusedDocument, ::testing::ValuesIn(kRefused), testName);

TEST(JSONParsing, EscapesDecodeToUTF8AndIntegersStayExact) {
  EXPECT_EQ(JSONDecoder().decode<std::string>(R"("\ud83d\ude00\u00e9\/\t")"),
            "\xf0\x9f\x98\x80\xc3\xa9/\t");
  EXPECT_EQ(JSONDecoder().decode<std::int64_t>("9007199254740993"), 9007199254740993);
  EXPECT_EQ(JSONDecoder().decode<std::uint64_t>("18446744073709551615"), 18446744073709551615ull);
  EXPECT_EQ(JSONDecoder().decode<double>("1e-400"), 0.0);
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
