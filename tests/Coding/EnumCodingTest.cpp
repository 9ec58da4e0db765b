// Enumerations code as their raw values and refuse raw values they do not know.
#include <gtest/gtest.h>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"

namespace zorlan::enum_test {

enum class Quality { sd, hd, uhd };
ZORLAN_CODABLE_ENUM(Quality, sd, hd, uhd);

enum class Level : std::uint8_t { low, high };

enum Channel { stereo, surround };

struct Stream {
  Quality quality = Quality::sd;
  std::optional<Level> level;
};
ZORLAN_CODABLE(Stream, quality, level);

}  // namespace zorlan::enum_test

template <>
struct zorlan::RawValues<zorlan::enum_test::Level> {
  static constexpr std::pair<zorlan::enum_test::Level, int> values[] = {
      {zorlan::enum_test::Level::low, 1}, {zorlan::enum_test::Level::high, 50}};
};

template <>
struct zorlan::RawValues<zorlan::enum_test::Channel> {
  static constexpr std::pair<zorlan::enum_test::Channel, std::string_view> values[] = {
      {zorlan::enum_test::stereo, "2.0"}, {zorlan::enum_test::surround, "5.1"}};
};

namespace zorlan::enum_test {
namespace {

template <class T>
DecodingError decodingError(std::string_view json) {
  try {
    JSONDecoder().decode<T>(json);
  } catch (const DecodingError& error) {
    return error;
  }
  ADD_FAILURE() << "no error for " << json;
  return DecodingError::dataCorrupted({});
}

TEST(EnumCoding, RawValuesBothWays) {
  JSONEncoder encoder;
  EXPECT_EQ(encoder.encodeToString(std::vector<Quality>{Quality::uhd, Quality::sd}),
            R"(["uhd","sd"])");
  EXPECT_EQ(encoder.encodeToString(std::vector<Level>{Level::high, Level::low}), "[50,1]");
  EXPECT_EQ(encoder.encodeToString(std::vector<Channel>{surround, stereo}), R"(["5.1","2.0"])");
  EXPECT_EQ(JSONDecoder().decode<std::vector<Quality>>(R"(["hd","uhd"])"),
            (std::vector<Quality>{Quality::hd, Quality::uhd}));
  EXPECT_EQ(JSONDecoder().decode<Level>("50"), Level::high);
  EXPECT_EQ(JSONDecoder().decode<Channel>(R"("5.1")"), surround);
  Stream stream = JSONDecoder().decode<Stream>(R"({"quality":"hd","level":1})");
  EXPECT_EQ(stream.quality, Quality::hd);
  EXPECT_EQ(stream.level, Level::low);
}

TEST(EnumCoding, UnknownOrMistypedRawValuesAreRefused) {
  using K = DecodingError::Kind;
  struct Case {
    DecodingError error;
    K kind;
    const char* debugDescription;
  };
  const Case cases[] = {
      {decodingError<Quality>(R"("4k")"), K::dataCorrupted,
       "Cannot initialize Quality from invalid String value 4k"},
      {decodingError<Quality>(R"("HD")"), K::dataCorrupted,
       "Cannot initialize Quality from invalid String value HD"},
      {decodingError<Level>("7"), K::dataCorrupted,
       "Cannot initialize Level from invalid Int32 value 7"},
      {decodingError<Level>(R"("1")"), K::typeMismatch,
       "Expected to decode Int32 but found a string instead."},
      {decodingError<Quality>("0"), K::typeMismatch,
       "Expected to decode String but found number instead."},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.error.kind(), c.kind) << c.debugDescription;
    EXPECT_EQ(c.error.context().debugDescription, c.debugDescription);
  }
  EXPECT_EQ(
      codingPathString(decodingError<Stream>(R"({"quality":"sd","level":2})").context().codingPath),
      "level");
}

TEST(EnumCoding, ValuesWithoutRawValueAreNotEncoded) {
  try {
    JSONEncoder().encode(std::vector<Quality>{Quality::sd, static_cast<Quality>(9)});
    ADD_FAILURE();
  } catch (const EncodingError& error) {
    EXPECT_EQ(error.value(), "9");
    EXPECT_EQ(codingPathString(error.context().codingPath), "1");
  }
}

}  // namespace
}  // namespace zorlan::enum_test
