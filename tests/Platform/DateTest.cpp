#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

#include "zorlan/Platform/Date.hpp"
#include "zorlan/Platform/ISO8601.hpp"

namespace zorlan {
namespace {

TEST(Date, BothEpochs) {
  Date reference;
  EXPECT_EQ(reference.timeIntervalSinceReferenceDate(), 0.0);
  EXPECT_EQ(reference.timeIntervalSince1970(), 978307200.0);
  Date d = Date::fromTimeIntervalSince1970(1700000000.5);
  EXPECT_EQ(d.timeIntervalSinceReferenceDate(), 1700000000.5 - 978307200.0);
  EXPECT_EQ(Date::fromTimeIntervalSinceReferenceDate(5.0), Date(5.0));
  EXPECT_EQ(Date::fromTimeIntervalSince1970(0).timeIntervalSinceReferenceDate(), -978307200.0);
}

TEST(Date, ArithmeticAndOrder) {
  Date a(100.0);
  Date b = a + 2.5;
  EXPECT_EQ(b.timeIntervalSinceReferenceDate(), 102.5);
  EXPECT_EQ((b - 2.5), a);
  EXPECT_EQ(b.timeIntervalSince(a), 2.5);
  EXPECT_EQ(a.timeIntervalSince(b), -2.5);
  EXPECT_LT(a, b);
  EXPECT_GT(b, a);
  EXPECT_NE(a, b);
}

TEST(Date, NowFollowsTheSystemClock) {
  double before =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  double now = Date::now().timeIntervalSince1970();
  double after =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  EXPECT_LE(before, now);
  EXPECT_LE(now, after);
}

TEST(ISO8601, Formats) {
  struct Case {
    double since1970;
    const char* plain;
    const char* fractional;
  };
  const Case cases[] = {
      {978307200.0, "2001-01-01T00:00:00Z", "2001-01-01T00:00:00.000Z"},
      {0.0, "1970-01-01T00:00:00Z", "1970-01-01T00:00:00.000Z"},
      {1700000000.0, "2023-11-14T22:13:20Z", "2023-11-14T22:13:20.000Z"},
      {1704164645.678, "2024-01-02T03:04:05Z", "2024-01-02T03:04:05.678Z"},
      {951782400.0, "2000-02-29T00:00:00Z", "2000-02-29T00:00:00.000Z"},
      {-1.5, "1969-12-31T23:59:58Z", "1969-12-31T23:59:58.500Z"},
      {253402300799.0, "9999-12-31T23:59:59Z", "9999-12-31T23:59:59.000Z"},
      {0.9996, "1970-01-01T00:00:00Z", "1970-01-01T00:00:01.000Z"},
      {-62167219200.0, "0000-01-01T00:00:00Z", "0000-01-01T00:00:00.000Z"},
  };
  for (const Case& c : cases) {
    Date date = Date::fromTimeIntervalSince1970(c.since1970);
    EXPECT_EQ(iso8601::format(date), c.plain);
    EXPECT_EQ(iso8601::format(date, true), c.fractional);
  }
}

TEST(ISO8601, DatesWithoutAFourDigitYearFormatAsEmpty) {
  for (double since1970 :
       {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, 253402300800.0, -62167219201.0}) {
    EXPECT_EQ(iso8601::format(Date::fromTimeIntervalSince1970(since1970)), "") << since1970;
    EXPECT_EQ(iso8601::format(Date::fromTimeIntervalSince1970(since1970), true), "");
  }
}

TEST(ISO8601, ParsesAndRefuses) {
  struct Case {
    const char* text;
    bool fractional;
    std::optional<double> since1970;
  };
  const Case cases[] = {
      {"2001-01-01T00:00:00Z", false, 978307200.0},
      {"2023-11-15T00:13:20+02:00", false, 1700000000.0},
      {"2023-11-14T17:13:20-05:00", false, 1700000000.0},
      {"2024-02-29T12:00:00Z", false, 1709208000.0},
      {"2024-01-02T03:04:05.678Z", true, 1704164645.678},
      {"2024-01-02T03:04:05.5+01:00", true, 1704161045.5},
      // The fraction is required by the fractional form and refused by the plain one.
      {"2024-01-02T03:04:05Z", true, std::nullopt},
      {"2024-01-02T03:04:05.678Z", false, std::nullopt},
      {"2024-01-02T03:04:05.Z", true, std::nullopt},
      {"2023-02-29T00:00:00Z", false, std::nullopt},
      {"2100-02-29T00:00:00Z", false, std::nullopt},
      {"2023-13-01T00:00:00Z", false, std::nullopt},
      {"2023-00-01T00:00:00Z", false, std::nullopt},
      {"2023-04-31T00:00:00Z", false, std::nullopt},
      {"2023-01-01T24:00:00Z", false, std::nullopt},
      {"2023-01-01T00:60:00Z", false, std::nullopt},
      {"2023-01-01T00:00:60Z", false, std::nullopt},
      {"2023-01-01T00:00:00", false, std::nullopt},
      {"2023-01-01 00:00:00Z", false, std::nullopt},
      {"2023-1-01T00:00:00Z", false, std::nullopt},
      {"2023-01-01T00:00:00Zjunk", false, std::nullopt},
      {"2023-01-01T00:00:00+2:00", false, std::nullopt},
      {"2023-01-01T00:00:00+02:0", false, std::nullopt},
      {"2023-01-01T00:00:00+24:00", false, std::nullopt},
      {"+2023-01-01T00:00:00Z", false, std::nullopt},
      {"yesterday", false, std::nullopt},
      {"", false, std::nullopt},
  };
  for (const Case& c : cases) {
    std::optional<Date> parsed = iso8601::parse(c.text, c.fractional);
    if (c.since1970) {
      ASSERT_TRUE(parsed) << c.text;
      EXPECT_NEAR(parsed->timeIntervalSince1970(), *c.since1970, 1e-6) << c.text;
    } else {
      EXPECT_FALSE(parsed) << c.text;
    }
  }
}

TEST(ISO8601, RoundTripsWholeSecondsAndMilliseconds) {
  for (double since1970 : {0.0, 86399.0, 1e9, 1700000000.25, 4102444800.999}) {
    Date date = Date::fromTimeIntervalSince1970(since1970);
    EXPECT_NEAR(iso8601::parse(iso8601::format(date, true), true)->timeIntervalSince1970(),
                since1970, 1e-6);
    EXPECT_EQ(iso8601::parse(iso8601::format(date))->timeIntervalSince1970(),
              std::floor(since1970));
  }
}

}  // namespace
}  // namespace zorlan
