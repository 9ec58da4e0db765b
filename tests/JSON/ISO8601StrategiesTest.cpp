// ISO 8601 date strategies: the plain factories and the shared strategies with
// fractional seconds.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"

namespace zorlan {

struct Stamped {
  Date date;
};
ZORLAN_CODABLE(Stamped, date);

namespace {

JSONEncoder fractionalEncoder() {
  JSONEncoder encoder;
  encoder.dateEncodingStrategy = DateEncodingStrategy::iso8601WithFractionalSeconds();
  return encoder;
}

JSONDecoder fractionalDecoder() {
  JSONDecoder decoder;
  decoder.dateDecodingStrategy = DateDecodingStrategy::iso8601WithFractionalSeconds();
  return decoder;
}

std::string stamped(std::string_view text) { return R"({"date":")" + std::string(text) + "\"}"; }

// 2024-01-02T03:04:05Z
constexpr double k20240102 = 1704164645.0;

TEST(FractionalSecondsStrategy, WritesMillisecondsInUTC) {
  struct Case {
    double since1970;
    const char* text;
  };
  const Case cases[] = {
      {k20240102 + 0.678, "2024-01-02T03:04:05.678Z"},
      {k20240102, "2024-01-02T03:04:05.000Z"},
      {k20240102 + 0.0004, "2024-01-02T03:04:05.000Z"},
      {k20240102 + 0.9996, "2024-01-02T03:04:06.000Z"},  // rounds into the next second
      {-0.5, "1969-12-31T23:59:59.500Z"},
      {951782400.25, "2000-02-29T00:00:00.250Z"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(fractionalEncoder().encodeToString(Stamped{Date::fromTimeIntervalSince1970(c.since1970)}),
              stamped(c.text));
  }
}

TEST(FractionalSecondsStrategy, RefusesDatesItCannotWrite) {
  for (double since1970 : {std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity(), 1e15, -1e15}) {
    SCOPED_TRACE(since1970);
    try {
      fractionalEncoder().encodeToString(Stamped{Date::fromTimeIntervalSince1970(since1970)});
      ADD_FAILURE() << "written";
    } catch (const EncodingError& error) {
      EXPECT_EQ(error.context().codingPath, CodingPath{CodingKey::named("date")});
    }
  }
}

TEST(FractionalSecondsStrategy, ReadsTextWithAFraction) {
  struct Case {
    const char* text;
    double since1970;
  };
  const Case cases[] = {
      {"2024-01-02T03:04:05.678Z", k20240102 + 0.678},
      {"2024-01-02T03:04:05.5Z", k20240102 + 0.5},
      {"2024-01-02T03:04:05.123456Z", k20240102 + 0.123456},
      {"2024-01-02T05:04:05.000+02:00", k20240102},
      {"2024-01-01T23:04:05.100-04:00", k20240102 + 0.1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    Date date = fractionalDecoder().decode<Stamped>(stamped(c.text)).date;
    EXPECT_NEAR(date.timeIntervalSince1970(), c.since1970, 1e-6);
  }
}

TEST(FractionalSecondsStrategy, OtherTextIsDataCorruptedWithTheFormattersMessage) {
  for (const char* text : {"yesterday", "", "2024-01-02T03:04:05Z", "2024-01-02T03:04:05.Z",
                           "2024-01-02T03:04:05.678", "2024-01-02 03:04:05.678Z",
                           "2024-02-30T03:04:05.678Z", "2024-01-02T03:04:05.678Zjunk"}) {
    SCOPED_TRACE(text);
    try {
      fractionalDecoder().decode<Stamped>(stamped(text));
      ADD_FAILURE() << "decoded";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted);
      EXPECT_EQ(error.context().debugDescription,
                "Date string does not match format expected by formatter");
      EXPECT_EQ(error.context().codingPath, CodingPath{CodingKey::named("date")});
    }
  }
}

TEST(FractionalSecondsStrategy, ANumberIsATypeMismatch) {
  try {
    fractionalDecoder().decode<Stamped>(R"({"date":1704164645})");
    ADD_FAILURE() << "decoded";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind(), DecodingError::Kind::typeMismatch);
    EXPECT_EQ(error.type(), "String");
  }
}

TEST(FractionalSecondsStrategy, RoundTripsToTheMillisecond) {
  for (double since1970 : {0.0, 0.001, 1704164645.678, -86400.999, 253402300799.0}) {
    SCOPED_TRACE(since1970);
    Data bytes = fractionalEncoder().encode(Stamped{Date::fromTimeIntervalSince1970(since1970)});
    Date back = fractionalDecoder().decode<Stamped>(bytes).date;
    EXPECT_NEAR(back.timeIntervalSince1970(), since1970, 0.0005);
  }
}

TEST(FractionalSecondsStrategy, IsOneSharedValue) {
  EXPECT_EQ(&DateEncodingStrategy::iso8601WithFractionalSeconds(),
            &DateEncodingStrategy::iso8601WithFractionalSeconds());
  EXPECT_EQ(&DateDecodingStrategy::iso8601WithFractionalSeconds(),
            &DateDecodingStrategy::iso8601WithFractionalSeconds());
}

TEST(ISO8601Factories, UseWholeSecondsAndDefaultsOtherwise) {
  Stamped value{Date::fromTimeIntervalSince1970(k20240102 + 0.678)};
  EXPECT_EQ(JSONEncoder::iso8601().encodeToString(value), stamped("2024-01-02T03:04:05Z"));
  EXPECT_EQ(JSONDecoder::iso8601().decode<Stamped>(stamped("2024-01-02T03:04:05Z"))
                .date.timeIntervalSince1970(),
            k20240102);
  // The plain strategy refuses a fraction, which only the other one reads.
  try {
    JSONDecoder::iso8601().decode<Stamped>(stamped("2024-01-02T03:04:05.678Z"));
    ADD_FAILURE() << "decoded";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.context().debugDescription, "Expected date string to be ISO8601-formatted.");
  }
  // Everything but dates keeps its default: compact text, "/" escaped, base64.
  EXPECT_EQ(JSONEncoder::iso8601().encodeToString(std::vector<std::string>{"a/b"}), R"(["a\/b"])");
  EXPECT_EQ(JSONEncoder::iso8601().encodeToString(Data(std::string("\xff"))), R"("\/w==")");
  EXPECT_EQ(JSONDecoder::iso8601().decode<Data>(std::string_view(R"("/w==")")),
            Data(std::string("\xff")));
}

}  // namespace
}  // namespace zorlan
