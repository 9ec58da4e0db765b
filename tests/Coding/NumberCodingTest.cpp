// Which numbers decode into which arithmetic types, and how they encode.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"

namespace zorlan {
namespace {

using K = DecodingError::Kind;

// The outcome of decoding `json` as T: "ok" or the kind of error and its text.
template <class T>
std::string outcome(std::string_view json) {
  try {
    JSONDecoder().decode<T>(json);
    return "ok";
  } catch (const DecodingError& error) {
    const char* names[] = {"typeMismatch", "valueNotFound", "keyNotFound", "dataCorrupted"};
    return std::string(names[static_cast<int>(error.kind())]) + ": " +
           error.context().debugDescription;
  }
  return "?";
}

TEST(NumberCoding, RangesAndKindsOfEachArithmeticType) {
  struct Case {
    std::string (*decode)(std::string_view);
    const char* json;
    const char* expected;
  };
  const Case cases[] = {
      {outcome<std::int8_t>, "127", "ok"},
      {outcome<std::int8_t>, "128",
       "dataCorrupted: Parsed JSON number <128> does not fit in Int8."},
      {outcome<std::uint8_t>, "-1",
       "dataCorrupted: Parsed JSON number <-1> does not fit in UInt8."},
      {outcome<std::uint8_t>, "255.0", "ok"},
      {outcome<std::uint8_t>, "256.0",
       "dataCorrupted: Parsed JSON number <256> does not fit in UInt8."},
      {outcome<std::int16_t>, "32768",
       "dataCorrupted: Parsed JSON number <32768> does not fit in Int16."},
      {outcome<std::int32_t>, "2147483648",
       "dataCorrupted: Parsed JSON number <2147483648> does not fit in Int32."},
      {outcome<std::int64_t>, "9223372036854775808",
       "dataCorrupted: Parsed JSON number <9223372036854775808> does not fit in Int."},
      {outcome<std::int64_t>, "9.2233720368547758e18",
       "dataCorrupted: Parsed JSON number <9223372036854775808> does not fit in Int."},
      {outcome<std::int64_t>, "-9.2233720368547758e18", "ok"},
      {outcome<std::int64_t>, "1.5",
       "dataCorrupted: Parsed JSON number <1.5> does not fit in Int."},
      {outcome<std::int64_t>, "1e400",
       "dataCorrupted: Parsed JSON number <inf> does not fit in Int."},
      {outcome<std::uint64_t>, "18446744073709551616",
       "dataCorrupted: Parsed JSON number <18446744073709551616> does not fit in UInt."},
      {outcome<std::uint64_t>, "-0", "ok"},
      {outcome<std::int64_t>, "true",
       "typeMismatch: Expected to decode Int but found bool instead."},
      {outcome<std::int64_t>, "null", "valueNotFound: Expected Int value but found null instead."},
      {outcome<std::int64_t>, "[1]",
       "typeMismatch: Expected to decode Int but found an array instead."},
      {outcome<double>, "18446744073709551615", "ok"},
      {outcome<double>, "1e400", "dataCorrupted: Parsed JSON number <inf> does not fit in Double."},
      {outcome<double>, "false", "typeMismatch: Expected to decode Double but found bool instead."},
      {outcome<float>, "3.4e38", "ok"},
      {outcome<float>, "1e39", "dataCorrupted: Parsed JSON number <1e+39> does not fit in Float."},
      {outcome<bool>, "1", "typeMismatch: Expected to decode Bool but found number instead."},
      {outcome<bool>, "\"true\"",
       "typeMismatch: Expected to decode Bool but found a string instead."},
      {outcome<std::string>, "{}",
       "typeMismatch: Expected to decode String but found a dictionary instead."},
  };
  for (const Case& c : cases) EXPECT_EQ(c.decode(c.json), c.expected) << c.json;
  EXPECT_EQ(JSONDecoder().decode<std::uint8_t>("255.0"), 255);
  EXPECT_EQ(JSONDecoder().decode<std::int64_t>("-9.2233720368547758e18"),
            std::numeric_limits<std::int64_t>::min());
}

TEST(NumberCoding, EncodedForms) {
  JSONEncoder encoder;
  EXPECT_EQ(encoder.encodeToString(std::vector<double>{3.0, 1.5, -0.25, 1e100}),
            "[3,1.5,-0.25,1e+100]");
  // Floats write their own shortest form, not the widened double's digits.
  EXPECT_EQ(encoder.encodeToString(std::vector<float>{0.1f, 1.7f, 3.0f}), "[0.1,1.7,3]");
  EXPECT_EQ(JSONDecoder().decode<float>(encoder.encodeToString(0.1f)), 0.1f);
  EXPECT_EQ(encoder.encodeToString(
                std::vector<std::int64_t>{std::numeric_limits<std::int64_t>::min(), 0, 42}),
            "[-9223372036854775808,0,42]");
  EXPECT_EQ(encoder.encodeToString(std::numeric_limits<std::uint64_t>::max()),
            "18446744073709551615");
  EXPECT_EQ(encoder.encodeToString(std::vector<bool>{true, false}), "[true,false]");
}

}  // namespace
}  // namespace zorlan
