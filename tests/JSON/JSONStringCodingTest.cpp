// JSON text in character encodings: the conversions and the string coders.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "zorlan/JSON/JSONStringCoding.hpp"

namespace zorlan {

struct Profile {
  std::string name;
  int age = 0;
};
ZORLAN_CODABLE(Profile, name, age);

struct Session {
  Date started;
};
ZORLAN_CODABLE(Session, started);

namespace {

using std::string_literals::operator""s;
constexpr auto none = std::nullopt;

struct Conversion {
  const char* name;
  std::string utf8;
  StringEncoding encoding;
  std::optional<std::string> encoded;  // absent: not representable
};

std::ostream& operator<<(std::ostream& os, const Conversion& c) { return os << c.name; }

// UTF-8 text and its form in each encoding.
const Conversion kConversions[] = {
    {"empty utf8", "", StringEncoding::utf8, ""},
    {"empty utf16 has only the mark", "", StringEncoding::utf16, "\xFE\xFF"s},
    {"empty utf16BE", "", StringEncoding::utf16BigEndian, ""},
    {"ascii in utf8", "{\"a\":1}", StringEncoding::utf8, "{\"a\":1}"},
    {"ascii in ascii", "{\"a\":1}", StringEncoding::ascii, "{\"a\":1}"},
    {"NUL and DEL in ascii", "\0\x7F"s, StringEncoding::ascii, "\0\x7F"s},
    {"e-acute in ascii", "caf\xC3\xA9", StringEncoding::ascii, none},
    {"e-acute in latin1", "caf\xC3\xA9", StringEncoding::isoLatin1, "caf\xE9"},
    {"U+0080 in latin1", "\xC2\x80", StringEncoding::isoLatin1, "\x80"},
    {"y-diaeresis, the last latin1", "\xC3\xBF", StringEncoding::isoLatin1, "\xFF"},
    {"U+0100 past latin1", "\xC4\x80", StringEncoding::isoLatin1, none},
    {"euro sign in latin1", "\xE2\x82\xAC", StringEncoding::isoLatin1, none},
    {"A in utf16 with mark", "A", StringEncoding::utf16, "\xFE\xFF\x00\x41"s},
    {"A in utf16BE", "A", StringEncoding::utf16BigEndian, "\x00\x41"s},
    {"A in utf16LE", "A", StringEncoding::utf16LittleEndian, "\x41\x00"s},
    {"euro in utf16BE", "\xE2\x82\xAC", StringEncoding::utf16BigEndian, "\x20\xAC"},
    {"emoji as a surrogate pair BE", "\xF0\x9F\x98\x80", StringEncoding::utf16BigEndian,
     "\xD8\x3D\xDE\x00"s},
    {"emoji as a surrogate pair LE", "\xF0\x9F\x98\x80", StringEncoding::utf16LittleEndian,
     "\x3D\xD8\x00\xDE"s},
    {"U+10FFFF in utf16BE", "\xF4\x8F\xBF\xBF", StringEncoding::utf16BigEndian, "\xDB\xFF\xDF\xFF"},
    {"U+FFFF in utf16BE", "\xEF\xBF\xBF", StringEncoding::utf16BigEndian, "\xFF\xFF"},
    {"emoji in utf8", "\xF0\x9F\x98\x80", StringEncoding::utf8, "\xF0\x9F\x98\x80"},
    // Ill-formed UTF-8 is not text in any encoding.
    {"overlong slash in utf8", "\xC0\xAF", StringEncoding::utf8, none},
    {"overlong U+07FF in utf8", "\xE0\x9F\xBF", StringEncoding::utf8, none},
    {"overlong U+FFFF in utf8", "\xF0\x8F\xBF\xBF", StringEncoding::utf8, none},
    {"encoded surrogate in utf8", "\xED\xA0\x80", StringEncoding::utf8, none},
    {"past U+10FFFF in utf8", "\xF4\x90\x80\x80", StringEncoding::utf8, none},
    {"F5 lead byte in utf8", "\xF5\x80\x80\x80", StringEncoding::utf8, none},
    {"truncated in utf8", "a\xE2\x82", StringEncoding::utf8, none},
    {"lone continuation in utf8", "\x80", StringEncoding::utf8, none},
    {"lead without continuation in utf8", "\xC3(", StringEncoding::utf8, none},
    {"encoded surrogate in utf16", "\xED\xA0\x80", StringEncoding::utf16BigEndian, none},
    {"overlong in latin1", "\xC1\x81", StringEncoding::isoLatin1, none},
    {"truncated in ascii", "\xC3", StringEncoding::ascii, none},
};

class TextConversion : public ::testing::TestWithParam<Conversion> {};

TEST_P(TextConversion, EncodesAndDecodesBack) {
  const Conversion& c = GetParam();
  EXPECT_EQ(encodeText(c.utf8, c.encoding), c.encoded);
  if (c.encoded) {
    EXPECT_EQ(decodeText(*c.encoded, c.encoding), c.utf8);
  }
}

INSTANTIATE_TEST_SUITE_P(JSONStringCoding, TextConversion, ::testing::ValuesIn(kConversions),
                         [](const auto& info) {
                           std::string name;
                           for (char ch : std::string(info.param.name)) {
                             name += std::isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
                           }
                           return name;
                         });

TEST(JSONStringCoding, DecodingRefusesTextThatIsNotInTheEncoding) {
  struct Case {
    const char* name;
    std::string text;
    StringEncoding encoding;
    std::optional<std::string> utf8;
  };
  const Case cases[] = {
      {"byte above 0x7F in ascii", "caf\xE9", StringEncoding::ascii, none},
      {"UTF-8 in ascii", "caf\xC3\xA9", StringEncoding::ascii, none},
      {"every byte is latin1", "\x80\xFF", StringEncoding::isoLatin1, "\xC2\x80\xC3\xBF"},
      {"latin1 is not utf8", "caf\xE9", StringEncoding::utf8, none},
      {"odd length utf16", "\x00\x41\x00"s, StringEncoding::utf16BigEndian, none},
      {"odd length after the mark", "\xFE\xFF\x00"s, StringEncoding::utf16, none},
      {"lone high surrogate at the end", "\x00\x41\xD8\x3D"s, StringEncoding::utf16BigEndian, none},
      {"high surrogate before a letter", "\xD8\x3D\x00\x41"s, StringEncoding::utf16BigEndian, none},
      {"two high surrogates", "\xD8\x3D\xD8\x3D"s, StringEncoding::utf16BigEndian, none},
      {"lone low surrogate", "\xDE\x00\x00\x41"s, StringEncoding::utf16BigEndian, none},
      {"reversed pair", "\xDE\x00\xD8\x3D"s, StringEncoding::utf16BigEndian, none},
      {"little-endian mark", "\xFF\xFE\x41\x00"s, StringEncoding::utf16, "A"},
      {"big-endian mark", "\xFE\xFF\x00\x41"s, StringEncoding::utf16, "A"},
      {"no mark reads big-endian", "\x00\x41"s, StringEncoding::utf16, "A"},
      {"only a mark", "\xFF\xFE", StringEncoding::utf16, ""},
      {"a mark is a character in utf16BE", "\xFE\xFF\x00\x41"s, StringEncoding::utf16BigEndian,
       "\xEF\xBB\xBF" "A"},
      {"a mark is a character in utf16LE", "\xFF\xFE\x41\x00"s, StringEncoding::utf16LittleEndian,
       "\xEF\xBB\xBF" "A"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(decodeText(c.text, c.encoding), c.utf8);
  }
}

TEST(JSONStringEncoder, WritesDefaultEncoderTextInTheEncoding) {
  Profile p{"Zo\xC3\xAB/1", 7};
  EXPECT_EQ(JSONStringEncoder().encode(p, StringEncoding::utf8), "{\"name\":\"Zo\xC3\xAB\\/1\",\"age\":7}");
  EXPECT_EQ(JSONStringEncoder().encode(p, StringEncoding::isoLatin1),
            "{\"name\":\"Zo\xEB\\/1\",\"age\":7}");
  std::string utf16 = JSONStringEncoder().encode(p, StringEncoding::utf16);
  EXPECT_EQ(utf16.substr(0, 6), "\xFE\xFF\x00{\x00\""s);
  EXPECT_EQ(utf16.size(), 2 + 2 * 25u);
  EXPECT_EQ(JSONStringEncoder().encode(7), "7");
}

TEST(JSONStringEncoder, TextTheEncodingCannotHoldIsAStringCodingError) {
  EXPECT_THROW(JSONStringEncoder().encode(Profile{"caf\xC3\xA9", 1}, StringEncoding::ascii),
               JSONStringCodingError);
  EXPECT_THROW(JSONStringEncoder().encode(std::string("\xE2\x82\xAC"), StringEncoding::isoLatin1),
               JSONStringCodingError);
  EXPECT_NO_THROW(JSONStringEncoder().encode(Profile{"cafe", 1}, StringEncoding::ascii));
}

TEST(JSONStringEncoder, EncoderErrorsPassThroughUnchanged) {
  try {
    JSONStringEncoder().encode(std::vector<double>{1, std::numeric_limits<double>::quiet_NaN()},
                               StringEncoding::ascii);
    ADD_FAILURE() << "encoded";
  } catch (const EncodingError& error) {
    EXPECT_EQ(error.context().codingPath, CodingPath{CodingKey::index(1)});
  }
  // Text that is not UTF-8 is the writer's error, not a string coding error.
  EXPECT_THROW(JSONStringEncoder().encode(std::string("\xFF")), EncodingError);
}

TEST(JSONStringDecoder, ReadsTextInTheEncoding) {
  EXPECT_EQ(JSONStringDecoder().decode<Profile>("{\"name\":\"Zo\xEB\",\"age\":7}",
                                                StringEncoding::isoLatin1)
                .name,
            "Zo\xC3\xAB");
  EXPECT_EQ(JSONStringDecoder()
                .decode<Profile>("\xFF\xFE{\0\"\0n\0a\0m\0e\0\"\0:\0\"\0\xE9\0\"\0,\0\"\0a\0g\0e\0\"\0:\0"
                                 "9\0}\0"s,
                                 StringEncoding::utf16)
                .age,
            9);
  // Every encoding reads back what the encoder wrote in it.
  for (StringEncoding encoding :
       {StringEncoding::utf8, StringEncoding::utf16, StringEncoding::utf16BigEndian,
        StringEncoding::utf16LittleEndian, StringEncoding::isoLatin1}) {
    SCOPED_TRACE(toString(encoding));
    Profile p{"\xC3\xA9t\xC3\xA9 \\ \"", -3};
    std::string text = JSONStringEncoder().encode(p, encoding);
    Profile back = JSONStringDecoder().decode<Profile>(text, encoding);
    EXPECT_EQ(back.name, p.name);
    EXPECT_EQ(back.age, p.age);
  }
}

TEST(JSONStringDecoder, TextNotInTheEncodingFailsBeforeDecoding) {
  // Not JSON either, but the encoding is checked first.
  EXPECT_THROW(JSONStringDecoder().decode<Profile>("caf\xC3\xA9 {", StringEncoding::ascii),
               JSONStringCodingError);
  EXPECT_THROW(JSONStringDecoder().decode<Profile>("{\"name\":\"\xC3\xA9\",\"age\":1}",
                                                   StringEncoding::ascii),
               JSONStringCodingError);
  EXPECT_THROW(JSONStringDecoder().decode<int>("\x00"s, StringEncoding::utf16), JSONStringCodingError);
  // Valid text that is not JSON is the decoder's error.
  try {
    JSONStringDecoder().decode<Profile>("{", StringEncoding::ascii);
    ADD_FAILURE() << "decoded";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted);
  }
  // A byte order mark read as a character is not JSON.
  EXPECT_THROW(JSONStringDecoder().decode<int>("\xFE\xFF\x00\x31"s, StringEncoding::utf16BigEndian),
               DecodingError);
}

TEST(JSONStringCoding, DatesAreWrittenAsNumbersButReadAsISO8601) {
  Session s{Date::fromTimeIntervalSince1970(1704164645)};
  std::string text = JSONStringEncoder().encode(s);
  EXPECT_EQ(text, R"({"started":725857445})");
  try {
    JSONStringDecoder().decode<Session>(text);
    ADD_FAILURE() << "the string decoder read a number as a date";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind(), DecodingError::Kind::typeMismatch);
    EXPECT_EQ(error.context().codingPath, CodingPath{CodingKey::named("started")});
  }
  EXPECT_EQ(JSONStringDecoder()
                .decode<Session>(R"({"started":"2024-01-02T03:04:05Z"})")
                .started.timeIntervalSince1970(),
            1704164645.0);
  // Whole seconds only: a fraction is refused.
  EXPECT_THROW(JSONStringDecoder().decode<Session>(R"({"started":"2024-01-02T03:04:05.5Z"})"),
               DecodingError);
}

}  // namespace
}  // namespace zorlan
