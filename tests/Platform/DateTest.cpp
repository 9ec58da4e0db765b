// zorlan/Platform/Date.hpp, ISO8601.hpp: dates on both epochs, and their ISO 8601 text.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <tuple>

#include "zorlan/Platform/Date.hpp"
#include "zorlan/Platform/ISO8601.hpp"

namespace zorlan {
namespace {

TEST(Date, BothEpochsArithmeticAndOrder) {
  EXPECT_EQ(Date().timeIntervalSince1970(), 978307200.0);
  Date d = Date::fromTimeIntervalSince1970(1700000000.5);
  EXPECT_EQ(d.timeIntervalSinceReferenceDate(), 1700000000.5 - 978307200.0);
  Date a(100.0);
  Date b = a + 2.5;
  EXPECT_EQ(b.timeIntervalSinceReferenceDate(), 102.5);
  EXPECT_EQ(b - 2.5, a);
  EXPECT_EQ(a.timeIntervalSince(b), -2.5);
  EXPECT_LT(a, b);
}

TEST(Date, NowFollowsTheSystemClock) {
  auto systemNow = [] {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const double before = systemNow();
  const double now = Date::now().timeIntervalSince1970();
  EXPECT_LE(before, now);
  EXPECT_LE(now, systemNow());
}

TEST(ISO8601, Formats) {
  const std::tuple<double, const char*, const char*> cases[] = {
      {0.0, "1970-01-01T00:00:00Z", "1970-01-01T00:00:00.000Z"},
      {1704164645.678, "2024-01-02T03:04:05Z", "2024-01-02T03:04:05.678Z"},
      {-1.5, "1969-12-31T23:59:58Z", "1969-12-31T23:59:58.500Z"},
      {253402300799.0, "9999-12-31T23:59:59Z", "9999-12-31T23:59:59.000Z"},
      {0.9996, "1970-01-01T00:00:00Z", "1970-01-01T00:00:01.000Z"},
      {-62167219200.0, "0000-01-01T00:00:00Z", "0000-01-01T00:00:00.000Z"},
  };
  for (const auto& [since1970, plain, fractional] : cases) {
    EXPECT_EQ(iso8601::format(Date::fromTimeIntervalSince1970(since1970)), plain);
    EXPECT_EQ(iso8601::format(Date::fromTimeIntervalSince1970(since1970), true), fractional);
  }
  // Only dates with a four-digit year have a text.
  for (double since1970 :
       {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, 253402300800.0, -62167219201.0}) {
    EXPECT_EQ(iso8601::format(Date::fromTimeIntervalSince1970(since1970)), "") << since1970;
    EXPECT_EQ(iso8601::format(Date::fromTimeIntervalSince1970(since1970), true), "");
  }
}

TEST(ISO8601, ParsesAndRefuses) {
  const std::tuple<const char*, bool, double> parsed[] = {
      {"2001-01-01T00:00:00Z", false, 978307200.0},
      {"2023-11-15T00:13:20+02:00", false, 1700000000.0},
      {"2024-02-29T12:00:00Z", false, 1709208000.0},
      {"2024-01-02T03:04:05.678Z", true, 1704164645.678},
      {"2024-01-02T03:04:05.123456Z", true, 1704164645.123456},
      {"2024-01-01T23:04:05.100-04:00", true, 1704164645.1}};
  for (const auto& [text, fractional, since1970] : parsed) {
    const std::optional<Date> date = iso8601::parse(text, fractional);
    ASSERT_TRUE(date) << text;
    EXPECT_NEAR(date->timeIntervalSince1970(), since1970, 1e-6) << text;
  }
  // The fraction is required by the fractional form and refused by the plain one.
  for (const char* text : {"2024-01-02T03:04:05Z", "2024-01-02T03:04:05.Z"}) {
    EXPECT_FALSE(iso8601::parse(text, true)) << text;
  }
  for (const char* text :
       {"2024-01-02T03:04:05.678Z", "2023-02-29T00:00:00Z", "2100-02-29T00:00:00Z",
        "2023-04-31T00:00:00Z", "2023-01-01T24:00:00Z", "2023-01-01T00:00:60Z",
        "2023-01-01 00:00:00Z", "2023-1-01T00:00:00Z", "2023-01-01T00:00:00Zjunk",
        "2023-01-01T00:00:00+2:00", "2023-01-01T00:00:00+24:00", "+2023-01-01T00:00:00Z", ""}) {
    EXPECT_FALSE(iso8601::parse(text)) << text;
  }
}

}  // namespace
}  // namespace zorlan
