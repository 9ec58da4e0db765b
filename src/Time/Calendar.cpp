#include "zorlan/Time/Calendar.hpp"

#include <unicode/gregocal.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <cmath>
#include <memory>

#include "zorlan/Time/Clock.hpp"

namespace zorlan {
namespace {

std::unique_ptr<icu::TimeZone> makeZone(const std::string& identifier, bool autoupdating) {
  if (autoupdating) return std::unique_ptr<icu::TimeZone>(icu::TimeZone::detectHostTimeZone());
  return std::unique_ptr<icu::TimeZone>(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(identifier)));
}

// ICU's milliseconds since 1970 for a date.
UDate toUDate(Date date) { return date.timeIntervalSince1970() * 1000.0; }

// A Gregorian calendar in `zone` set to `date`; null when ICU cannot make one.
std::unique_ptr<icu::GregorianCalendar> calendarAt(const TimeZone& zone, Date date) {
  UErrorCode status = U_ZERO_ERROR;
  auto calendar = std::make_unique<icu::GregorianCalendar>(
      makeZone(zone.identifier(), zone.isAutoupdating()).release(), status);
  if (U_FAILURE(status)) return nullptr;
  calendar->setTime(toUDate(date), status);
  if (U_FAILURE(status)) return nullptr;
  return calendar;
}

}  // namespace

std::optional<TimeZone> TimeZone::named(const std::string& identifier) {
  auto zone = makeZone(identifier, false);
  if (!zone || *zone == icu::TimeZone::getUnknown()) return std::nullopt;
  return TimeZone(identifier, false);
}

TimeZone TimeZone::utc() { return TimeZone("UTC", false); }

TimeZone TimeZone::autoupdatingCurrent() { return TimeZone("", true); }

std::string TimeZone::identifier() const {
  if (!autoupdating_) return identifier_;
  icu::UnicodeString id;
  makeZone("", true)->getID(id);
  std::string out;
  id.toUTF8String(out);
  return out;
}

int TimeZone::secondsFromGMT(Date date) const {
  auto zone = makeZone(identifier_, autoupdating_);
  int32_t raw = 0;
  int32_t dst = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone->getOffset(toUDate(date), false, raw, dst, status);
  if (U_FAILURE(status)) return 0;
  return (raw + dst) / 1000;
}

bool Calendar::isDate(Date a, Date inSameDayAs) const {
  auto first = calendarAt(timeZone_, a);
  auto second = calendarAt(timeZone_, inSameDayAs);
  if (!first || !second) return false;
  UErrorCode status = U_ZERO_ERROR;
  for (UCalendarDateFields field : {UCAL_ERA, UCAL_YEAR, UCAL_DAY_OF_YEAR}) {
    if (first->get(field, status) != second->get(field, status)) return false;
  }
  return U_SUCCESS(status);
}

Date Calendar::startOfDay(Date date) const {
  auto calendar = calendarAt(timeZone_, date);
  if (!calendar) return date;
  for (UCalendarDateFields field : {UCAL_HOUR_OF_DAY, UCAL_MINUTE, UCAL_SECOND, UCAL_MILLISECOND}) {
    calendar->set(field, 0);
  }
  UErrorCode status = U_ZERO_ERROR;
  const UDate start = calendar->getTime(status);
  if (U_FAILURE(status)) return date;
  return Date::fromTimeIntervalSince1970(start / 1000.0);
}

double Clock::millisecondsSince(std::optional<Date> date) const {
  if (!date) return 0.0;
  return std::round(timeIntervalSince(*date) * 1000.0);  // halves away from zero
}

std::shared_ptr<const Clock> SystemClock::shared() {
  static const std::shared_ptr<const Clock> clock = std::make_shared<SystemClock>();
  return clock;
}

}  // namespace zorlan
