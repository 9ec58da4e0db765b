// zorlan/Coding/JSONDecoder.hpp against RFC 8259: what it reads, and what it refuses.
#include <gtest/gtest.h>

#include <boost/json/value.hpp>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <system_error>

#include "zorlan/Coding/JSONDecoder.hpp"

namespace zorlan {
namespace {

using std::string_literals::operator""s;

template <class T>
T decode(const std::string& text) {
  return JSONDecoder().decode<T>(Data(text));
}

// Decodes `text` as any JSON value and expects the decoder's refusal, with the parser's
// error underneath.
void expectRefused(const std::string& text) {
  try {
    decode<boost::json::value>(text);
    ADD_FAILURE() << "accepted " << ::testing::PrintToString(text);
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted);
    EXPECT_EQ(error.context().debugDescription, "The given data was not valid JSON.");
    EXPECT_TRUE(error.context().codingPath.empty());
    ASSERT_EQ(error.underlyingErrors().size(), 1u);
    EXPECT_THROW(std::rethrow_exception(error.context().underlyingError), std::system_error);
  }
}

TEST(JSONConformance, NumbersReadTheirValue) {
  using L = std::numeric_limits<double>;
  // clang-format off
  const std::pair<const char*, double> cases[] = {
      {"0", 0}, {"-0", 0}, {"-7", -7}, {"0.5", 0.5}, {"1E2", 100}, {"1e+2", 100}, {"1E-02", 0.01},
      {"0e0", 0}, {"123456789012345678901234567890", 1.2345678901234568e29},
      {"18446744073709551616", 18446744073709551616.0}, {"1.7976931348623157e308", L::max()},
      {"4.9e-324", L::denorm_min()}, {"2.2250738585072014e-308", L::min()}};
  // clang-format on
  for (const auto& [text, value] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(decode<double>(text), value);
    EXPECT_EQ(decode<std::vector<double>>("[" + std::string(text) + "]").at(0), value);
  }
  EXPECT_EQ(decode<std::int64_t>("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(decode<std::uint64_t>("18446744073709551615"),
            std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(decode<int>("1E2"), 100);
  // The nearest double to the text, as std::strtod reads it.
  for (const char* text :
       {"-10444440017225866754152056603", "2.2250738585072011e-308", "9007199254740993.0"}) {
    EXPECT_EQ(decode<double>(text), std::strtod(text, nullptr)) << text;
  }
  EXPECT_TRUE(std::signbit(decode<double>("-0.0")));
}

TEST(JSONConformance, MalformedNumbersAreNotJSON) {
  // clang-format off
  const char* const numbers[] = {"01", "-01", "-", "--1", "+1", "1.", ".5", "1.e2", "1e", "1e-",
      "1e2e3", "0x10", "1_000", "-Infinity", "NaN", "\xD9\xA1" /* Arabic-Indic one */};
  // clang-format on
  for (const std::string number : numbers) {
    SCOPED_TRACE(number);
    expectRefused(number);
    expectRefused("[" + number + "]");
    expectRefused("{\"n\":" + number + "}");
  }
  // An exponent past the parser's range is refused as text.
  expectRefused("1e999999999999");
  expectRefused("[1e-999999999999]");
}

TEST(JSONConformance, StringsReadTheirValueAsStringAndAsKey) {
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"the two-character escapes", R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
      {"escaped NUL", R"("a\u0000b")", "a\0b"s},
      {"two-byte escapes in either case", R"("\u00e9\u00E9")", "\xC3\xA9\xC3\xA9"},
      {"surrogate pairs in either case", R"("\ud83d\ude00\uD83D\uDE00")",
       "\xF0\x9F\x98\x80\xF0\x9F\x98\x80"},
      {"first and last pair", R"("\uD800\uDC00\uDBFF\uDFFF")", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      // Raw characters at each boundary of the UTF-8 forms.
      {"raw DEL, U+0080, U+07FF", "\"\x7F\xC2\x80\xDF\xBF\"", "\x7F\xC2\x80\xDF\xBF"},
      {"raw U+0800, U+D7FF, U+E000", "\"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\"",
       "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80"},
      {"raw U+10000, U+10FFFF", "\"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\"",
       "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {"empty", "\"\"", ""}};
  for (const auto& [name, json, value] : cases) {
    SCOPED_TRACE(name);
    EXPECT_EQ(decode<std::string>(json), value);
    EXPECT_EQ((decode<std::map<std::string, int>>("{" + json + ":1}")),
              (std::map<std::string, int>{{value, 1}}));
  }
}

TEST(JSONConformance, MalformedStringsAreNotJSONAsStringNorAsKey) {
  std::vector<std::string> insides = {
      // escapes JSON does not have, and surrogates that are not one pair
      R"(\x41)", R"(\')", R"(\U0041)", R"(\u12)", R"(\u12G4)", R"(\ud83d)", R"(\ud83d\u0041)",
      R"(\ud83d\ud83d)", R"(\ude00)",
      // overlong forms; truncated sequences
      "\xC0\xAF", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xC3", "\xF0\x9F\x98",
      "\xE2\x82x",
      // surrogates in UTF-8, past U+10FFFF, bytes that never start a character, Latin-1
      "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\x80",
      "caf\xE9"};
  for (int c = 0; c < 0x20; ++c)
    insides.push_back("a" + std::string(1, static_cast<char>(c)) + "b");  // raw
  for (const std::string& inside : insides) {
    SCOPED_TRACE(::testing::PrintToString(inside));
    const std::string quoted = "\"" + inside + "\"";
    expectRefused(quoted);
    expectRefused("{" + quoted + ":1}");
    expectRefused("[\"ok\"," + quoted + "]");
  }
  expectRefused("\"a\\");  // an escape cut off by the end
  expectRefused("\"abc");
}

TEST(JSONConformance, StructuresReadTheirValuesAndMalformedOnesAreNotJSON) {
  for (const std::string text :
       {"", " ", "[1,]", "[,1]", "[1,,2]", "{\"a\":1,}", "{,}", "{\"a\"}", "{\"a\":}", "{:1}",
        "{1:1}", "{\"a\" 1}", "[1 2]", "[1:2]", "[", "}", "[}", "[1]]", "{} x", "1 2", "truex",
        "nul", "True", "'a'", "{a:1}", "[1]\x01",
        // only the four white-space characters of JSON separate tokens
        "\f[1]", "\v1", "1\xC2\xA0", "\xE2\x80\x8B[]",
        // comments, a byte order mark before the document
        "[1//c\n]", "[1/*c*/]", "# c\n1", "\xEF\xBB\xBF{}"}) {
    SCOPED_TRACE(text);
    expectRefused(text);
  }
  expectRefused("{}\0"s);  // a trailing NUL is garbage
  EXPECT_EQ(decode<std::vector<int>>(" \t\r\n[ 1 ,\t2\r\n, 3 ] \n"), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ((decode<std::map<std::string, bool>>(R"({ "a" : true , "" : false })")),
            (std::map<std::string, bool>{{"a", true}, {"", false}}));
  // Of duplicate keys the last one is read.
  EXPECT_EQ((decode<std::map<std::string, int>>(R"({"a":1,"a":2})")),
            (std::map<std::string, int>{{"a", 2}}));
  // Any value may be the whole document.
  EXPECT_EQ(decode<bool>("true"), true);
  EXPECT_EQ(decode<std::optional<int>>(" null "), std::nullopt);
}

TEST(JSONConformance, UTF16AndUTF32AreToldByAByteOrderMarkOrTheirZeroBytes) {
  // clang-format off
  const std::pair<const char*, std::string> read[] = {
      {"UTF-16BE", "\0\"\0\xE9\0\""s}, {"UTF-16LE", "\"\0\xE9\0\"\0"s},
      {"UTF-16BE, mark", "\xFE\xFF\0\"\0\xE9\0\""s}, {"UTF-16LE, mark", "\xFF\xFE\"\0\xE9\0\"\0"s},
      {"UTF-32BE", "\0\0\0\"\0\0\0\xE9\0\0\0\""s}, {"UTF-32LE", "\"\0\0\0\xE9\0\0\0\"\0\0\0"s},
      {"UTF-32BE, mark", "\0\0\xFE\xFF\0\0\0\"\0\0\0\xE9\0\0\0\""s},
      {"UTF-32LE, mark", "\xFF\xFE\0\0\"\0\0\0\xE9\0\0\0\"\0\0\0"s}};
  // clang-format on
  for (const auto& [name, bytes] : read) EXPECT_EQ(decode<std::string>(bytes), "\xC3\xA9") << name;
  EXPECT_EQ(decode<std::string>("\"\0\x3D\xD8\x00\xDE\"\0"s), "\xF0\x9F\x98\x80");  // a pair
  for (const std::string& refused :
       {"\0\"\0\xE9\0\"\0"s /* odd length */, "\0\"\xD8\x3D\0\""s /* unpaired high surrogate */,
        "\0\"\xDE\x00\0\""s /* unpaired low */, "\0\0\0\"\0\x11\0\0\0\0\0\""s /* past U+10FFFF */,
        "\0\0\0\"\0\0\xD8\0\0\0\0\""s /* UTF-32 surrogate */}) {
    expectRefused(refused);
  }
  // Two bytes are enough to tell UTF-16.
  EXPECT_EQ(decode<int>("7\0"s), 7);
  EXPECT_EQ(decode<int>(std::string(1, '\0') + "7"), 7);
}

std::string nestedObjects(std::size_t depth) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += "{\"a\":";
  return text + "1" + std::string(depth, '}');
}

TEST(JSONConformance, FiveHundredTwelveLevelsDecodeAndDeeperIsDataCorruptedNeverACrash) {
  const boost::json::value arrays =
      decode<boost::json::value>(std::string(512, '[') + std::string(512, ']'));
  std::size_t depth = 0;
  for (auto* v = &arrays; v->is_array() && !v->get_array().empty(); v = &v->get_array()[0]) ++depth;
  EXPECT_EQ(depth, 511u);  // the innermost array is empty
  EXPECT_TRUE(decode<boost::json::value>(nestedObjects(512)).is_object());
  std::string mixed;  // objects holding arrays
  for (int i = 0; i < 256; ++i) mixed += "{\"a\":[";
  for (int i = 0; i < 256; ++i) mixed += "]}";
  EXPECT_NO_THROW(decode<boost::json::value>(mixed));
  for (std::size_t depth : {513u, 1000000u}) {
    SCOPED_TRACE(depth);
    expectRefused(std::string(depth, '[') + std::string(depth, ']'));
    expectRefused(nestedObjects(depth));
    expectRefused(std::string(depth, '['));  // never closed
  }
}

}  // namespace
}  // namespace zorlan
