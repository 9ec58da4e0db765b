// zorlan/JSON/JSONStringCoding.hpp: text in character encodings, and the string coders that
// read a value's JSON bytes as text in an encoding and back.
#include <gtest/gtest.h>

#include <limits>

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
using E = StringEncoding;
constexpr auto none = std::nullopt;

TEST(JSONStringCoding, TextAndItsBytesInEachEncodingBothWays) {
  // The text, the encoding, its bytes (absent: not representable). Ill-formed UTF-8 is not
  // text in any encoding.
  // clang-format off
  const std::tuple<std::string, StringEncoding, std::optional<std::string>> cases[] = {
      {"", E::utf16, "\xFE\xFF"s}, {"\0\x7F"s, E::ascii, "\0\x7F"s},
      {"caf\xC3\xA9", E::ascii, none}, {"\xC3\xBF", E::isoLatin1, "\xFF"},
      {"\xC4\x80", E::isoLatin1, none}, {"A", E::utf16, "\xFE\xFF\x00\x41"s},
      {"\xC0\xAF", E::utf8, none}, {"\xF0\x9F\x98\x80", E::utf16BigEndian, "\xD8\x3D\xDE\x00"s},
      {"\xF0\x9F\x98\x80", E::utf16LittleEndian, "\x3D\xD8\x00\xDE"s},
      {"\xED\xA0\x80", E::utf16BigEndian, none}};
  // clang-format on
  for (const auto& [utf8, encoding, bytes] : cases) {
    SCOPED_TRACE(std::string(toString(encoding)) + " " + utf8);
    EXPECT_EQ(encodeText(utf8, encoding), bytes);
    if (bytes) {
      EXPECT_EQ(decodeText(*bytes, encoding), utf8);
    }
  }
  // Bytes that are not text in the encoding, and marks.
  // Every Latin-1 byte is a character; UTF-16 without a mark is big-endian.
  // clang-format off
  const std::tuple<std::string, StringEncoding, std::optional<std::string>> undecoded[] = {
      {"caf\xE9", E::ascii, none}, {"\x80\xFF", E::isoLatin1, "\xC2\x80\xC3\xBF"},
      {"caf\xE9", E::utf8, none}, {"\x00\x41\x00"s, E::utf16BigEndian, none},
      {"\x00\x41\xD8\x3D"s, E::utf16BigEndian, none},
      {"\xDE\x00\xD8\x3D"s, E::utf16BigEndian, none},
      {"\xFF\xFE\x41\x00"s, E::utf16, "A"}, {"\x00\x41"s, E::utf16, "A"},
      {"\xFE\xFF\x00\x41"s, E::utf16BigEndian, "\xEF\xBB\xBF" "A"}};
  // clang-format on
  for (const auto& [bytes, encoding, utf8] : undecoded) {
    EXPECT_EQ(decodeText(bytes, encoding), utf8) << toString(encoding) << " " << bytes;
  }
}

TEST(JSONStringEncoder, ReadsTheJSONBytesAsTextInTheEncoding) {
  // The value, the encoding, the text (absent: JSONStringCodingError).
  const std::tuple<std::string, StringEncoding, std::optional<std::string>> cases[] = {
      {"Zo\xC3\xAB/1", E::utf8, "\"Zo\xC3\xAB\\/1\""},  // the default encoder's JSON
      {"caf\xC3\xA9", E::ascii, none},
      // Each byte is one character: the two bytes of é are Ã and ©.
      {"\xC3\xA9", E::isoLatin1, "\"\xC3\x83\xC2\xA9\""},
      // The bytes 22 61 62 22 as code units: 0x2261 0x6222, or 0x6122 0x2262.
      {"ab", E::utf16BigEndian, "\xE2\x89\xA1\xE6\x88\xA2"},
      {"ab", E::utf16, "\xE2\x89\xA1\xE6\x88\xA2"},
      {"ab", E::utf16LittleEndian, "\xE6\x84\xA2\xE2\x89\xA2"}};
  for (const auto& [value, encoding, text] : cases) {
    SCOPED_TRACE(std::string(toString(encoding)) + " " + value);
    if (text) {
      EXPECT_EQ(JSONStringEncoder().encode(value, encoding), *text);
    } else {
      EXPECT_THROW(JSONStringEncoder().encode(value, encoding), JSONStringCodingError);
    }
  }
  // The encoder's own errors pass through unchanged.
  EXPECT_THROW(JSONStringEncoder().encode(std::string("\xFF")), EncodingError);
  EXPECT_THROW(JSONStringEncoder().encode(std::numeric_limits<double>::quiet_NaN(), E::ascii),
               EncodingError);
}

TEST(JSONStringDecoder, DecodesTheTextsBytesInTheEncoding) {
  const auto outcome = [](const std::string& text, StringEncoding encoding) -> std::string {
    try {
      return JSONStringDecoder().decode<std::string>(text, encoding);
    } catch (const JSONStringCodingError&) {
      return "coding error";
    } catch (const DecodingError&) {
      return "decoding error";
    }
  };
  const std::string e9 = "\"\xC3\xA9\"";  // "é"
  // The JSON decoder reads UTF-16, with or without a byte order mark.
  // clang-format off
  const std::tuple<std::string, StringEncoding, const char*> cases[] = {
      {e9, E::utf8, "\xC3\xA9"}, {e9, E::ascii, "coding error"},
      {"\"\xC3\x83\xC2\xA9\"", E::isoLatin1, "\xC3\xA9"},  // Ã© is the bytes of é
      {e9, E::isoLatin1, "decoding error"},                   // the byte E9 is not JSON
      {"\"\xE2\x82\xAC\"", E::isoLatin1, "coding error"}, {e9, E::utf16, "\xC3\xA9"},
      {e9, E::utf16LittleEndian, "\xC3\xA9"}};
  // clang-format on
  for (const auto& [text, encoding, expected] : cases) {
    EXPECT_EQ(outcome(text, encoding), expected) << toString(encoding) << " " << text;
  }
}

TEST(JSONStringCoding, TheDecoderReadsWhatTheEncoderWroteUnlessAByteOrderMarkIsAdded) {
  const Profile profile{"Zo\xC3\xAB", 10};  // 24 bytes of JSON
  // With utf16 the decoder writes a mark before the code units, so the JSON decoder reads the
  // encoder's UTF-8 bytes as UTF-16.
  for (const StringEncoding encoding :
       {E::utf8, E::isoLatin1, E::utf16BigEndian, E::utf16LittleEndian, E::utf16}) {
    SCOPED_TRACE(toString(encoding));
    const bool readsBack = encoding != E::utf16;
    const std::string text = JSONStringEncoder().encode(profile, encoding);
    if (readsBack) {
      const Profile back = JSONStringDecoder().decode<Profile>(text, encoding);
      EXPECT_EQ(std::tie(back.name, back.age), std::tie(profile.name, profile.age));
    } else {
      EXPECT_THROW(JSONStringDecoder().decode<Profile>(text, encoding), DecodingError);
    }
  }
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
}

}  // namespace
}  // namespace zorlan
