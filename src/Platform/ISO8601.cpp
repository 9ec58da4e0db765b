#include "zorlan/Platform/ISO8601.hpp"

#include <cmath>
#include <cstdint>
#include <cstdio>

namespace zorlan::iso8601 {
namespace {

// Days since 1970-01-01 of a proleptic Gregorian date.
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void civilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  y = static_cast<std::int64_t>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y += m <= 2;
}

bool digits(std::string_view text, std::size_t at, std::size_t count, int& out) {
  if (at + count > text.size()) return false;
  out = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    out = out * 10 + (text[i] - '0');
  }
  return true;
}

unsigned daysInMonth(int year, int month) {
  static const unsigned days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : days[month - 1];
}

}  // namespace

std::string format(Date date, bool fractionalSeconds) {
  double since1970 = date.timeIntervalSince1970();
  // Years 0000 to 9999 only: four-digit years, and no overflow below.
  if (!(since1970 >= -62167219200.0 && since1970 < 253402300799.9995)) return {};
  double wholeSeconds = std::floor(since1970);
  int millis = static_cast<int>(std::llround((since1970 - wholeSeconds) * 1000.0));
  if (!fractionalSeconds) {
    millis = 0;
  } else if (millis == 1000) {
    wholeSeconds += 1;
    millis = 0;
  }
  auto total = static_cast<std::int64_t>(wholeSeconds);
  std::int64_t days = total >= 0 ? total / 86400 : -((-total + 86399) / 86400);
  std::int64_t secondsOfDay = total - days * 86400;
  std::int64_t y = 0;
  unsigned m = 0;
  unsigned d = 0;
  civilFromDays(days, y, m, d);
  char buffer[64];
  int hh = static_cast<int>(secondsOfDay / 3600);
  int mm = static_cast<int>(secondsOfDay / 60 % 60);
  int ss = static_cast<int>(secondsOfDay % 60);
  if (fractionalSeconds) {
    std::snprintf(buffer, sizeof buffer, "%04lld-%02u-%02uT%02d:%02d:%02d.%03dZ",
                  static_cast<long long>(y), m, d, hh, mm, ss, millis);
  } else {
    std::snprintf(buffer, sizeof buffer, "%04lld-%02u-%02uT%02d:%02d:%02dZ",
                  static_cast<long long>(y), m, d, hh, mm, ss);
  }
  return buffer;
}

std::optional<Date> parse(std::string_view text, bool fractionalSeconds) {
  int year, month, day, hour, minute, second;
  if (!digits(text, 0, 4, year) || text.size() < 19 || text[4] != '-' ||
      !digits(text, 5, 2, month) || text[7] != '-' || !digits(text, 8, 2, day) || text[10] != 'T' ||
      !digits(text, 11, 2, hour) || text[13] != ':' || !digits(text, 14, 2, minute) ||
      text[16] != ':' || !digits(text, 17, 2, second)) {
    return std::nullopt;
  }
  if (month < 1 || month > 12 || day < 1 || static_cast<unsigned>(day) > daysInMonth(year, month) ||
      hour > 23 || minute > 59 || second > 59) {
    return std::nullopt;
  }
  std::size_t at = 19;
  double fraction = 0;
  if (fractionalSeconds) {
    if (at >= text.size() || text[at] != '.') return std::nullopt;
    ++at;
    double scale = 0.1;
    std::size_t start = at;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
      fraction += (text[at] - '0') * scale;
      scale /= 10;
      ++at;
    }
    if (at == start) return std::nullopt;
  }
  int offsetSeconds = 0;
  if (at < text.size() && text[at] == 'Z') {
    ++at;
  } else if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
    int oh, om;
    if (!digits(text, at + 1, 2, oh) || at + 3 >= text.size() || text[at + 3] != ':' ||
        !digits(text, at + 4, 2, om) || oh > 23 || om > 59) {
      return std::nullopt;
    }
    offsetSeconds = (oh * 3600 + om * 60) * (text[at] == '-' ? -1 : 1);
    at += 6;
  } else {
    return std::nullopt;
  }
  if (at != text.size()) return std::nullopt;
  std::int64_t days = daysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day));
  double since1970 =
      static_cast<double>(days * 86400 + hour * 3600 + minute * 60 + second - offsetSeconds) +
      fraction;
  return Date::fromTimeIntervalSince1970(since1970);
}

}  // namespace zorlan::iso8601
