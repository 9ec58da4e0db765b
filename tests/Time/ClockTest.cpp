// zorlan/Time/Clock.hpp, Calendar.hpp, ExpirationChecker.hpp: elapsed times and their rounding,
// calendar days in a zone, the system zone followed when it changes, and countdown expiry.
#include <gtest/gtest.h>

#include <cmath>

#include "support/LoggingTestSupport.hpp"
#include "zorlan/Time/Clock.hpp"
#include "zorlan/Time/ExpirationChecker.hpp"

namespace zorlan {
namespace {

// A clock stopped at `now` in a fixed zone.
class FixedClock final : public Clock {
 public:
  explicit FixedClock(Date now, TimeZone zone = TimeZone::utc()) : now_(now), zone_(zone) {}
  TimeZone timezone() const override { return zone_; }
  Calendar calendar() const override { return Calendar(zone_); }
  Date now() const override { return now_; }

 private:
  Date now_;
  TimeZone zone_;
};

// 2024-03-10T23:30:00Z.
const Date kLateEvening = Date::fromTimeIntervalSince1970(1710113400);

TEST(ClockTest, MillisecondsSinceRoundsHalvesAwayFromZero) {
  const FixedClock clock(Date(0));
  EXPECT_EQ(clock.millisecondsSince(std::nullopt), 0.0);
  EXPECT_EQ(clock.millisecondsSince(Date(-1.0005)), 1001.0);  // 1000.5 up
  EXPECT_EQ(clock.millisecondsSince(Date(1.0005)), -1001.0);  // -1000.5 away from zero
  EXPECT_EQ(clock.millisecondsSince(Date(-0.0004)), 0.0);
  EXPECT_EQ(clock.timeIntervalSince(Date(5)), -5.0);
}

TEST(ClockTest, IsTodayComparesCalendarDaysInTheClocksZone) {
  struct Case {
    const char* zone;
    double offsetFromNow;  // seconds
    bool today;
  };
  const Case cases[] = {
      {"UTC", -23.5 * 3600, true},  // 00:00 the same day
      {"UTC", 1800, false},         // midnight that starts the next day
      {"UTC", -23.5 * 3600 - 1, false},
      {"Europe/Paris", 1800, true},    // 00:30 local now; 01:00 local
      {"Europe/Paris", -5400, false},  // 23:00 local the day before
  };
  for (const Case& c : cases) {
    const FixedClock clock(kLateEvening, *TimeZone::named(c.zone));
    EXPECT_EQ(clock.isToday(kLateEvening + c.offsetFromNow), c.today)
        << c.zone << " " << c.offsetFromNow;
  }
  EXPECT_EQ(Calendar(*TimeZone::named("Europe/Paris")).startOfDay(kLateEvening),
            kLateEvening - 30 * 60);
  EXPECT_FALSE(TimeZone::named("Not/AZone"));
}

TEST(ClockTest, SystemClockFollowsTheSystemZoneWhenItChanges) {
  const auto clock = SystemClock::shared();
  {
    testing::ScopedEnv zone("TZ", "Asia/Tokyo");
    EXPECT_EQ(clock->timezone().identifier(), "Asia/Tokyo");
    EXPECT_EQ(clock->calendar().timeZone().secondsFromGMT(kLateEvening), 9 * 3600);
  }
  testing::ScopedEnv zone("TZ", "America/New_York");
  EXPECT_EQ(clock->timezone().identifier(), "America/New_York");
  EXPECT_EQ(clock->calendar().timeZone().secondsFromGMT(kLateEvening), -4 * 3600);  // DST began
  EXPECT_TRUE(clock->isToday(clock->now()));
}

TEST(ExpirationCheckerTest, ExpiresWhenTheCountdownIsAtMostTheElapsedTime) {
  const auto clock = std::make_shared<FixedClock>(Date(1000));
  rx::BehaviorRelay<double> countdown{30};
  ExpirationChecker checker(asBehaviorReader(countdown), clock);

  checker.set(Date(970));
  EXPECT_TRUE(checker.isExpired());
  checker.set(Date(970.1));
  EXPECT_FALSE(checker.isExpired());

  checker.set(Date(900));
  EXPECT_TRUE(checker.isExpired());
  countdown.accept(120);  // nothing latched
  EXPECT_FALSE(checker.isExpired());
  countdown.accept(0);
  checker.set();  // now, on the checker's clock
  EXPECT_EQ(checker.startDate(), Date(1000));
  EXPECT_TRUE(checker.isExpired());
}

TEST(ExpirationCheckerTest, AnUnsetCheckerMeasuresFromTheSystemDate) {
  // The test clock stands a century ahead: from the system's date, the countdown ran out long
  // ago; from the clock's own date it would have just begun.
  const auto ahead = std::make_shared<FixedClock>(Date::now() + 100 * 365.25 * 86400);
  ExpirationChecker checker(BehaviorReader<double>::just(30), ahead);
  EXPECT_TRUE(checker.isExpired());
  checker.set();
  EXPECT_FALSE(checker.isExpired());
  checker.set(std::nullopt);
  EXPECT_TRUE(checker.isExpired());

  ExpirationChecker onSystemClock(BehaviorReader<double>::just(30), SystemClock::shared());
  EXPECT_FALSE(onSystemClock.isExpired());  // about zero elapsed
}

}  // namespace
}  // namespace zorlan
